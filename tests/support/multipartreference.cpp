#include "support/multipartreference.h"

#include <QtCore/QList>
#include <QtCore/QStringList>

namespace support {

namespace {

/// Splits the header block at line feeds and lets the last Content-Disposition line decide.
QString nameInHeaderBlock(const QByteArray &block)
{
    QString name;
    const QList<QByteArray> lines = block.split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> pieces = line.trimmed().split(':');
        if (!pieces.first().contains("Content-Disposition"))
            continue;
        const QByteArray value = pieces.value(1);
        const QString text = QString::fromStdString(value.toStdString()); // keeps NUL bytes
        name = text.split(QStringLiteral("filename=")).value(1);
        if (name.startsWith(QLatin1Char('"')))
            name = name.mid(1);
        if (name.endsWith(QLatin1Char('"')))
            name = name.left(name.size() - 1);
    }
    return name;
}

/// Moves `position` behind the next header terminator; false when the body ends first.
bool skipHeaders(const QByteArray &body, int &position)
{
    const QByteArray terminator("\r\n\r\n");
    int index = 0;
    while (position < body.size()) {
        if (body.at(position) == terminator.at(index))
            ++index;
        else
            index = 0;
        ++position;
        if (index == terminator.size())
            return true;
    }
    return false;
}

QByteArray collectContent(const QByteArray &body, const QByteArray &delimiter, int &position)
{
    QByteArray buffer;
    int index = 0;
    while (position < body.size()) {
        const char byte = body.at(position);
        buffer.append(byte);
        if (byte == delimiter.at(index)) {
            ++index;
        } else if (index != 0) {
            const bool closing = delimiter.size() - index == 2 && byte == '-' &&
                                 position + 1 < body.size() && body.at(position + 1) == '-';
            if (closing) {
                index = delimiter.size();
                ++position;
            } else {
                index = 0;
            }
        }
        ++position;
        if (index == delimiter.size()) {
            const bool twoBytesRemain = body.size() - position == 2;
            buffer.chop(delimiter.size() + (twoBytesRemain ? 1 : 2));
            break;
        }
    }
    return buffer;
}

} // namespace

MultipartOutcome parseMultipartByTheRules(const QString &delimiterText, const QByteArray &body)
{
    MultipartOutcome outcome;
    const QByteArray delimiter = delimiterText.toLocal8Bit() + "\r\n";
    int position = delimiter.size();
    if (position >= body.size())
        return outcome;

    while (true) {
        outcome.headerOffsets.append(position);
        if (!skipHeaders(body, position))
            return outcome;
        QString name = nameInHeaderBlock(body.left(position - 4));
        const QByteArray content = collectContent(body, delimiter, position);
        if (name.isEmpty())
            name = QString::number(outcome.files.size());
        outcome.parts.append({name, content.size()});
        outcome.files.insert(name, content);
        if (position == body.size())
            return outcome;
    }
}

} // namespace support
