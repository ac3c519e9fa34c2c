#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QVector>

/// A plain reading of bytes as HTTP/1.x requests, to compare the server with: slow, and without any
/// leniency about where a message ends.
namespace strict {

struct Request
{
    QByteArray line;
    QByteArray body;
};

/// The requests that the bytes hold, up to the first whose end is in doubt, or not there, or after
/// which the connection has to close. A server may refuse any of them, but find no others.
QVector<Request> requestsIn(const QByteArray &bytes);

} // namespace strict
