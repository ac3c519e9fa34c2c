#pragma once

#include "chunk/chunkbehaviour.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QString>

/// Writes card documents of one sender, unchanged, into files of the configured directory. A
/// document without a number, an absent setting and a file that cannot be opened end it silently.
/// Only digits reach the file's name, so that no document can name a place outside the directory.
class WriteXmlBehaviour : public ChunkBehaviour
{
public:
    void handle(const QJsonValue &chunk) final;

private:
    /// The "source" of the chunks to write, compared exactly.
    virtual const QString &source() const = 0;

    /// Finds the number that names the document, as group 1.
    virtual const QRegularExpression &numberPattern() const = 0;

    virtual QString fileName(const QString &number) = 0;
};
