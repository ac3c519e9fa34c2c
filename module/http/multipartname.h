#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// Finds the file names of the parts of a multipart body; a part of MultipartParser.
///
/// A part's name is decided by the last Content-Disposition line between the very start of the body
/// and the end of the part's headers, so a part without such a line takes over an earlier one's,
/// and even a line inside earlier content counts. Asked part by part, in order, it reads no byte
/// more than once.
class MultipartName
{
public:
    /// `body` must outlive the object.
    explicit MultipartName(const QByteArray &body);

    /// The name for the part that begins at `partBegin` and whose headers end at `headersEnd`,
    /// empty when there is none. Neither may be smaller than in the call before.
    QString nameOfPart(qsizetype partBegin, qsizetype headersEnd);

private:
    bool takeLastLine(qsizetype begin, qsizetype end);
    qsizetype lineBegin(qsizetype position, qsizetype floor) const;
    qsizetype lineEnd(qsizetype position, qsizetype limit) const;

    const char *m_body;
    qsizetype m_read = 0; ///< up to here no line can decide any more, but the one in m_name
    QString m_name;
};
