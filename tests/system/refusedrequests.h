#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QVector>

/// Requests that a server must refuse, each for one reason.
namespace refused {

constexpr int requestLineLimit = 8 * 1024;
constexpr int headerSectionLimit = 16 * 1024;
constexpr int bodyLimit = 1000; ///< of a host that is started with --max-body of as much

struct Request
{
    QByteArray name;
    int status = 0; ///< of the answer
    QByteArray bytes;
};

QVector<Request> requests();

/// A request whose line has this many bytes.
QByteArray withRequestLineOf(int size);

/// A request whose header section has this many bytes, line ends included.
QByteArray withHeaderSectionOf(int size);

/// A JSON object of this many bytes.
QByteArray jsonOf(int size);

} // namespace refused
