#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace http {
namespace server {
class Response;
}
} // namespace http

// What the controllers share: the forms their answers take, and the check of the context's id.

/// Routing never hands out an empty id; a controller that is given one nonetheless throws
/// std::runtime_error "Context id required.".
void requireContextId(const QString &id);

/// An answer without header fields of its own.
void answer(http::server::Response &response, int status, const QByteArray &body = QByteArray());

/// An answer of the type "application/json". `body` is printed already.
void answerJson(http::server::Response &response, int status, const QByteArray &body);

/// An answer of the type "text/plain".
void answerText(http::server::Response &response, int status, const QByteArray &body);

/// A header field's name.
QString contentTypeHeader();

/// A header field's value.
QString jsonType();
