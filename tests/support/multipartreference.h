#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace support {

/// What the rules of the multipart parser make of a body, worked out one byte at a time and with no
/// thought of speed. The parser of the module must agree with it in every byte.
struct MultipartOutcome
{
    struct Part
    {
        QString name;
        int size;
    };

    QMap<QString, QByteArray> files;
    QVector<int> headerOffsets; ///< where the search for a part's headers began
    QVector<Part> parts;        ///< the stored parts in the body's order, replaced ones included
};

MultipartOutcome parseMultipartByTheRules(const QString &delimiterText, const QByteArray &body);

} // namespace support
