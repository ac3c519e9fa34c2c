#pragma once

#include <QtCore/QByteArray>
#include <array>

/// Finds the delimiters of a multipart body; a part of MultipartParser.
///
/// What is found is defined by a matcher that goes byte by byte with one index into the delimiter:
/// an equal byte advances it, any other sets it back without being looked at again, so that a
/// delimiter right behind the beginning of another may be missed. Where the last two bytes (CR LF)
/// are due, "--" completes it as well: the closing delimiter. This class looks at few of the bytes
/// to the same effect.
class MultipartDelimiter
{
public:
    struct Match
    {
        bool found;
        qsizetype collectedEnd; ///< of the bytes taken in: the second "-" of a closing one is not
        qsizetype end;          ///< where the next part begins
    };

    /// Both arguments must outlive the object. The delimiter ends in CR LF.
    MultipartDelimiter(const QByteArray &delimiter, const QByteArray &body);

    /// The first delimiter that a matcher started at `from` completes.
    Match findFrom(qsizetype from) const;

private:
    struct Attempt
    {
        Match match;
        qsizetype next; ///< where the matcher stands, set back, when nothing was found
    };

    void chooseAnchor();
    Attempt attemptAt(qsizetype position) const;
    qsizetype stateKnownBefore(qsizetype position, qsizetype floor) const;
    bool mayBeginAt(qsizetype position) const;
    Match notFound() const { return {false, m_size, m_size}; }

    const char *m_delimiter;
    qsizetype m_length;
    qsizetype m_stemLength; ///< the bytes that every kind of delimiter has
    const char *m_body;
    qsizetype m_size;
    qsizetype m_anchor = 0;          ///< offset in the stem of the byte that is searched for
    std::array<bool, 256> m_inner{}; ///< the bytes that may leave the matcher inside a delimiter
};
