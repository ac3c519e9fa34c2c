#include "common/jsontext.h"

#include "common/plaintext.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QLocale>
#include <QtCore/QString>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>

namespace common {
namespace {

/// Appends to one buffer, where Qt makes a byte array of every key, text and indentation.
class Writer
{
public:
    explicit Writer(bool isIndented)
        : m_isIndented(isIndented)
    {
    }

    QByteArray finish()
    {
        if (m_isIndented)
            append("\n", 1);
        m_text.resize(m_size);
        return m_text;
    }

    void write(const QJsonObject &object, int level)
    {
        append("{", 1);
        for (auto member = object.constBegin(); member != object.constEnd();) {
            startLine(level + 1);
            write(member.key());
            append(": ", m_isIndented ? 2 : 1);
            write(member.value(), level + 1);
            if (++member != object.constEnd())
                append(",", 1);
        }
        startLine(level);
        append("}", 1);
    }

private:
    void append(const char *bytes, int count)
    {
        reserve(count);
        std::memcpy(m_text.data() + m_size, bytes, static_cast<size_t>(count));
        m_size += count;
    }

    void write(const QJsonArray &array, int level)
    {
        append("[", 1);
        for (auto element = array.constBegin(); element != array.constEnd();) {
            startLine(level + 1);
            write(*element, level + 1);
            if (++element != array.constEnd())
                append(",", 1);
        }
        startLine(level);
        append("]", 1);
    }

    void write(const QJsonValue &value, int level)
    {
        switch (value.type()) {
        case QJsonValue::Bool:
            return value.toBool() ? append("true", 4) : append("false", 5);
        case QJsonValue::Double:
            return write(value.toDouble());
        case QJsonValue::String:
            return write(value.toString());
        case QJsonValue::Array:
            return write(value.toArray(), level);
        case QJsonValue::Object:
            return write(value.toObject(), level);
        case QJsonValue::Null:
        case QJsonValue::Undefined:
            break;
        }
        append("null", 4);
    }

    void write(double number)
    {
        if (!std::isfinite(number))
            return append("null", 4);
        // Qt writes what an unsigned 64-bit integer holds without an exponent.
        constexpr double IntegersEnd = 18446744073709551616.0;
        constexpr double SmallEnough = 1e9; // to take the short way through an int
        const double size = std::fabs(number);
        const bool whole = size < IntegersEnd && size == std::trunc(size);
        const QByteArray digits =
            whole && size < SmallEnough
                ? QByteArray::number(static_cast<int>(number))
                : QByteArray::number(number, whole ? 'f' : 'g', QLocale::FloatingPointShortest);
        append(digits.constData(), digits.size());
    }

    void write(const QString &text)
    {
        append("\"", 1);
        const ushort *const end = text.utf16() + text.size();
        for (const ushort *unit = text.utf16(); unit != end;) {
            const ushort *const other = endOfPlain(unit, end);
            writePlain(unit, static_cast<int>(other - unit));
            unit = writeOthers(other, end);
        }
        append("\"", 1);
    }

    void writePlain(const ushort *units, int count)
    {
        reserve(count);
        char *const out = m_text.data() + m_size;
        for (int i = 0; i < count; ++i)
            out[i] = static_cast<char>(units[i]);
        m_size += count;
    }

    /// Writes what is not plain, up to the next unit that is, which it returns.
    const ushort *writeOthers(const ushort *unit, const ushort *end)
    {
        for (; unit != end && !isPlain(*unit); ++unit) {
            constexpr int Longest = 6;
            reserve(Longest);
            char *const out = m_text.data() + m_size;
            if (*unit < 0x80) {
                m_size += escape(*unit, out);
            } else if (QChar::isHighSurrogate(*unit) && unit + 1 != end &&
                       QChar::isLowSurrogate(unit[1])) {
                m_size += encode(QChar::surrogateToUcs4(*unit, unit[1]), out);
                ++unit;
            } else {
                m_size += QChar::isSurrogate(*unit) ? number(*unit, out) : encode(*unit, out);
            }
        }
        return unit;
    }

    static int escape(ushort unit, char *out)
    {
        static constexpr char Escaped[] = "\"\\\b\f\n\r\t";
        static constexpr char Letters[] = "\"\\bfnrt";
        const char *found = unit == 0 ? nullptr : std::strchr(Escaped, unit);
        if (!found)
            return number(unit, out);
        out[0] = '\\';
        out[1] = Letters[found - Escaped];
        return 2;
    }

    /// A control character or a surrogate without its other half.
    static int number(ushort unit, char *out)
    {
        static constexpr char Digits[] = "0123456789abcdef";
        out[0] = '\\';
        out[1] = 'u';
        for (int digit = 0; digit < 4; ++digit)
            out[2 + digit] = Digits[(unit >> (12 - 4 * digit)) & 0xf];
        return 6;
    }

    /// As UTF-8, beyond ASCII.
    static int encode(uint code, char *out)
    {
        const int length = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
        for (int i = length - 1; i > 0; --i, code >>= 6)
            out[i] = static_cast<char>(0x80 | (code & 0x3f));
        static constexpr uint Lead[] = {0, 0, 0xc0, 0xe0, 0xf0};
        out[0] = static_cast<char>(Lead[length] | code);
        return length;
    }

    void startLine(int level)
    {
        if (!m_isIndented)
            return;
        append("\n", 1);
        const int count = 4 * level;
        reserve(count);
        std::memset(m_text.data() + m_size, ' ', static_cast<size_t>(count));
        m_size += count;
    }

    void reserve(int count)
    {
        constexpr qint64 First = 512;
        constexpr qint64 Largest = std::numeric_limits<int>::max() - 64; // of a QByteArray, about
        if (m_text.size() - m_size >= count)
            return;
        // Deep nesting indents: a text of a megabyte can print to gigabytes.
        const qint64 needed = qint64(m_size) + count;
        if (needed > Largest)
            throw std::bad_alloc();
        const qint64 doubled = 2 * qint64(m_text.size());
        m_text.resize(static_cast<int>(qMin(Largest, qMax(First, qMax(doubled, needed)))));
    }

    bool m_isIndented;
    QByteArray m_text;
    int m_size = 0;
};

QByteArray print(const QJsonObject &object, bool isIndented)
{
    Writer writer(isIndented);
    writer.write(object, 0);
    return writer.finish();
}

} // namespace

QByteArray indentedJson(const QJsonObject &object)
{
    return print(object, true);
}

QByteArray compactJson(const QJsonObject &object)
{
    return print(object, false);
}

} // namespace common
