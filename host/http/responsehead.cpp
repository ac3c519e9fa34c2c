#include "http/responsehead.h"

#include "http/requesthead.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

#include <ostream> // Boost 1.81 uses it without saying so

#include <boost/beast/http/status.hpp>

namespace host {

const QByteArray &httpDate()
{
    static QByteArray text;
    static qint64 second = -1;
    const qint64 now = QDateTime::currentMSecsSinceEpoch() / 1000;
    if (now != second) {
        second = now;
        text = QLocale::c()
                   .toString(QDateTime::fromSecsSinceEpoch(now, Qt::UTC),
                             QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"))
                   .toLatin1();
    }
    return text;
}

bool statusHasBody(int status)
{
    return status >= 200 && status != 204 && status != 304;
}

bool isFieldName(const QString &name)
{
    for (const QChar c : name) {
        if (c.unicode() > 127 || !isTokenCharacter(c.toLatin1()))
            return false;
    }
    return !name.isEmpty();
}

bool isFieldValue(const QString &value)
{
    for (const QChar c : value) {
        if ((c.unicode() < ' ' && c != QLatin1Char('\t')) || c.unicode() == 0x7f)
            return false;
    }
    return true;
}

QByteArray responseHead(int status, const QVector<ResponseField> &fields,
                        const QByteArray &extraLines, const ResponseFraming &framing)
{
    const auto reason =
        boost::beast::http::obsolete_reason(boost::beast::http::int_to_status(unsigned(status)));
    QByteArray head;
    head.reserve(384);
    head.append("HTTP/1.1 ").append(QByteArray::number(status)).append(' ');
    head.append(reason.data(), int(reason.size()));
    head.append("\r\nDate: ").append(httpDate()).append("\r\nServer: kavo-host\r\n");
    for (const ResponseField &field : fields) {
        head.append(field.name.toLatin1()).append(": ");
        head.append(field.value.toUtf8()).append("\r\n");
    }
    head.append(extraLines);
    switch (framing.body) {
    case ResponseFraming::Length:
        head.append("Content-Length: ").append(QByteArray::number(framing.length)).append("\r\n");
        break;
    case ResponseFraming::Chunked:
        head.append("Transfer-Encoding: chunked\r\n");
        break;
    case ResponseFraming::ToEnd:
    case ResponseFraming::None:
        break;
    }
    if (!framing.keepAlive)
        head.append("Connection: close\r\n");
    else if (framing.http10)
        head.append("Connection: keep-alive\r\n");
    head.append("\r\n");
    return head;
}

} // namespace host
