#include "exchange/jsonsize.h"

#include "common/plaintext.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>

#include <cstddef>

namespace host {
namespace {

constexpr qint64 longestNumber = 25; // "-2.2250738585072014e-308" and to spare

class Counter
{
public:
    explicit Counter(qint64 enough)
        : m_enough(enough)
    {
    }

    qint64 total() const { return m_total; }

    void addObject(const QJsonObject &object)
    {
        m_total += 2;
        for (auto it = object.begin(); it != object.end() && m_total <= m_enough; ++it) {
            addText(it.key());
            m_total += 2; // colon and comma
            addValue(it.value());
        }
    }

private:
    void addValue(const QJsonValue &value)
    {
        if (value.isObject())
            addObject(value.toObject());
        else if (value.isArray())
            addArray(value.toArray());
        else if (value.isString())
            addText(value.toString());
        else
            m_total += value.isDouble() ? longestNumber : qint64(sizeof("false"));
    }

    void addArray(const QJsonArray &array)
    {
        m_total += 2;
        for (auto it = array.begin(); it != array.end() && m_total <= m_enough; ++it) {
            m_total += 1;
            addValue(*it);
        }
    }

    void addText(const QString &text)
    {
        qint64 size = 2;
        const ushort *const end = text.utf16() + text.size();
        for (const ushort *unit = text.utf16(); unit != end;) {
            const ushort *const other = common::endOfPlain(unit, end);
            const int count = int(qMin(blockUnits, end - other));
            size += other - unit + blockSize(other, count);
            unit = other + count;
        }
        m_total += size;
    }

    static constexpr std::ptrdiff_t blockUnits = 64; // behind something not plain

    // Sums instead of branches, in the width of a character: the compiler then takes many at once.
    static ushort blockSize(const ushort *units, int count)
    {
        ushort size = 0; // at most six for each
        for (int i = 0; i < count; ++i) {
            const ushort unit = units[i];
            const bool isEscaped = unit == '"' || unit == '\\';
            const bool isControl = unit < 0x20;                 // an escape at the most
            const bool isSurrogate = (unit & 0xf800) == 0xd800; // a lone one is one, too
            size = ushort(size + 1 + isEscaped + (unit >= 0x80) + (unit >= 0x800) +
                          3 * isSurrogate + 5 * isControl);
        }
        return size;
    }

    qint64 m_enough;
    qint64 m_total = 0;
};

} // namespace

qint64 jsonSizeAtMost(const QJsonObject &object, qint64 enough)
{
    Counter counter(enough);
    counter.addObject(object);
    return counter.total();
}

} // namespace host
