#include "routes/answers.h"

#include "common/jsontext.h"

#include <http/server/response.h>

#include <QtCore/QJsonObject>

namespace host {

void answerText(http::server::Response &response, int status, const QString &line)
{
    response.setHeader(QStringLiteral("Content-Type"), QStringLiteral("text/plain; charset=utf-8"));
    response.writeHead(status);
    response.end(line.toUtf8() + '\n');
}

void answerJson(http::server::Response &response, int status, const QJsonObject &object)
{
    response.setHeader(QStringLiteral("Content-Type"), QStringLiteral("application/json"));
    response.setHeader(QStringLiteral("Cache-Control"), QStringLiteral("no-store"));
    response.writeHead(status);
    response.end(common::compactJson(object));
}

} // namespace host
