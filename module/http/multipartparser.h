#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>

/// Splits a multipart form body into its files. Built per request by the upload controller; reads
/// the body where it lies, so the body must outlive it. It is lenient to the byte: which bytes it
/// takes for a delimiter, a header or a name is a contract with the clients that exist, and the
/// peculiarities below serve them.
class MultipartParser
{
public:
    /// `delimiterText` is the line that begins a part, "--" included, without its line end.
    MultipartParser(const QString &delimiterText, const QByteArray &body);
    MultipartParser(const QString &delimiterText, QByteArray &&body) = delete;

    /// The contents by file name. Of parts of the same name the last one stays. A part without a
    /// name of its own has that of the part before it, or else the number of files so far.
    ///
    /// The last part is exact only when the closing delimiter is followed by exactly one CR LF;
    /// otherwise it loses its last byte. A part that meets no delimiter runs to the end.
    QMap<QString, QByteArray> parse() const;

private:
    const QByteArray m_delimiter;
    const QByteArray &m_body;
};
