#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace host {

/// One header field that a controller set.
struct ResponseField
{
    QString name;
    QString value;
};

/// How the end of an answer's body is told, and what becomes of the connection.
struct ResponseFraming
{
    enum Body {
        Length, ///< Content-Length
        Chunked,
        ToEnd, ///< until the connection closes: a stream to an HTTP/1.0 client
        None   ///< a status that has no body
    };
    Body body = Length;
    qint64 length = 0;
    bool keepAlive = true;
    bool http10 = false;
};

/// The bytes of an answer's head: status line, Date, Server, the fields, `extraLines` (each with
/// its line end) and the framing.
QByteArray responseHead(int status, const QVector<ResponseField> &fields,
                        const QByteArray &extraLines, const ResponseFraming &framing);

/// Whether an answer of that status has a body.
bool statusHasBody(int status);

/// Whether the text can stand in a header field: a name is a token; a value holds no control
/// characters but the tab.
bool isFieldName(const QString &name);
bool isFieldValue(const QString &value);

/// The current time as an HTTP date, made anew once a second.
const QByteArray &httpDate();

} // namespace host
