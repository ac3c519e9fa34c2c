#include "http/answer.h"

#include <http/server/response.h>
#include <stdexcept>

using http::server::Response;

void requireContextId(const QString &id)
{
    if (id.isEmpty())
        throw std::runtime_error("Context id required.");
}

void answer(Response &response, int status, const QByteArray &body)
{
    response.writeHead(status);
    response.end(body);
}

void answerJson(Response &response, int status, const QByteArray &body)
{
    response.setHeader(contentTypeHeader(), jsonType());
    answer(response, status, body);
}

void answerText(Response &response, int status, const QByteArray &body)
{
    response.setHeader(contentTypeHeader(), QStringLiteral("text/plain"));
    answer(response, status, body);
}

QString contentTypeHeader()
{
    return QStringLiteral("Content-Type");
}

QString jsonType()
{
    return QStringLiteral("application/json");
}
