#include "app/tokenfile.h"

#include <QtCore/QFile>

#include <algorithm>

namespace host {
namespace {

constexpr int longestToken = 4096; // fits a header section with room for the rest

} // namespace

QByteArray readTokenFile(const QString &file, QString *error)
{
    QFile source(file);
    if (!source.open(QIODevice::ReadOnly)) {
        *error =
            QStringLiteral("cannot read the token file %1: %2").arg(file, source.errorString());
        return QByteArray();
    }
    QByteArray token = source.readLine(longestToken + 3); // with CR, LF and the closing NUL
    while (token.endsWith('\n') || token.endsWith('\r'))
        token.chop(1);
    const bool isSendable =
        std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c < '\x7f'; });
    if (token.isEmpty())
        *error = QStringLiteral("the first line of the token file %1 is empty").arg(file);
    else if (token.size() > longestToken)
        *error = QStringLiteral("the first line of the token file %1 is longer than %2 bytes")
                     .arg(file, QString::number(longestToken));
    else if (!isSendable)
        *error = QStringLiteral("the first line of the token file %1 holds a blank or a character "
                                "beyond ASCII, which no bearer token has")
                     .arg(file);
    else
        return token;
    return QByteArray();
}

} // namespace host
