#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <random>

namespace support {

/// A multipart body and the delimiter to split it by. The same seed gives the same case everywhere.
struct MultipartCase
{
    QString delimiterText;
    QByteArray body;
};

/// Makes multipart bodies that come close to what the parser looks for: proper ones, damaged ones,
/// and heaps of beginnings of delimiters, header ends, names and line ends.
class MultipartGenerator
{
public:
    explicit MultipartGenerator(quint32 seed)
        : m_random(seed)
    {
    }

    MultipartCase wellFormed();
    MultipartCase damaged();
    MultipartCase heap();

    /// `size` bytes, or a few more, of what resembles delimiters, with real ones here and there.
    MultipartCase largeHeap(int size);

private:
    int below(int bound);
    QString delimiterText();
    QByteArray randomBytes(int count, const QByteArray &alphabet);
    QByteArray anyBytes(int count);
    QByteArray fileName();
    QByteArray headerLine();
    QByteArray nearDelimiter(const QByteArray &text);
    QByteArray heapPiece(const QByteArray &text);
    QByteArray content(const QByteArray &text);
    void damage(QByteArray &body);

    std::mt19937 m_random;
};

} // namespace support
