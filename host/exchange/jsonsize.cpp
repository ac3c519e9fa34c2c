#include "exchange/jsonsize.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>

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
        // Sums instead of branches: the compiler then takes many characters at once.
        const ushort *const units = text.utf16();
        qint64 size = 2;
        for (int i = 0; i < text.size(); ++i) {
            const ushort unit = units[i];
            const bool isEscaped = unit == '"' || unit == '\\';
            const bool isSurrogate =
                (unit & 0xf800) == 0xd800;      // a lone one is written as an escape
            const bool isControl = unit < 0x20; // written as one, of six at the most
            size += 1 + int(isEscaped) + int(unit >= 0x80) + int(unit >= 0x800) +
                    3 * int(isSurrogate) + 5 * int(isControl);
        }
        m_total += size;
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
