#pragma once

#include <QtCore/QString>

class QJsonObject;

namespace http {
namespace server {
class Response;
}
} // namespace http

namespace host {

/// Answers with one line of plain text; `line` comes without its line end.
void answerText(http::server::Response &response, int status, const QString &line);

/// Answers with compact JSON that no cache keeps.
void answerJson(http::server::Response &response, int status, const QJsonObject &object);

} // namespace host
