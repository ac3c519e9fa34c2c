#include "chunk/writexmlbehaviour.h"

#include "chunk/carddocument.h"

#include <QtCore/QFile>
#include <QtCore/QTextStream>

namespace {

/// In the stream's default encoding, the machine's own, and with line ends as they came: that is
/// what the programs that pick the files up read.
void writeDocument(const QString &path, const QString &document)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return;
    QTextStream(&file) << document;
}

} // namespace

void WriteXmlBehaviour::handle(const QJsonValue &chunk)
{
    const QString document = cardDocument(chunk, source());
    if (document.isEmpty())
        return;
    const QRegularExpressionMatch number = numberPattern().match(document);
    if (!number.hasMatch())
        return;
    const std::optional<QDir> directory = configuredXmlDirectory();
    if (!directory)
        return;
    writeDocument(directory->filePath(fileName(number.captured(1))), document);
}
