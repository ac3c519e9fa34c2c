#include "chunk/contextfilter.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonArray>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPair>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <algorithm>
#include <cmath>

namespace {

bool holdsOnly(QJsonValue::Type type, const QJsonArray &array)
{
    return std::all_of(array.begin(), array.end(), [type](const QJsonValue &value) {
        return value.type() == type || value.isNull();
    });
}

/// Numbers are equal when these are: Qt compares integers exactly, also those that a double cannot
/// tell from each other.
QPair<double, qint64> numberKey(const QJsonValue &number)
{
    constexpr double AllIntegersEnd = 9007199254740992.0; // 2^53
    const double value = number.toDouble();
    if (std::fabs(value) < AllIntegersEnd)
        return {value, 0};
    const QVariant exact = number.toVariant();
    return {value, exact.userType() == QMetaType::LongLong ? exact.toLongLong() : 0};
}

template<typename Key>
bool allKeysFound(const QJsonArray &wanted, const QJsonArray &present,
                  Key (*keyOf)(const QJsonValue &))
{
    QSet<Key> keys;
    bool hasNull = false;
    keys.reserve(present.size());
    for (const QJsonValue &value : present) {
        if (value.isNull())
            hasNull = true;
        else
            keys.insert(keyOf(value));
    }
    return std::all_of(wanted.begin(), wanted.end(), [&](const QJsonValue &value) {
        return value.isNull() ? hasNull : keys.contains(keyOf(value));
    });
}

/// Compares every pair up to the first match of each wanted element, and goes on after an element
/// that is not found: each pair that cannot be compared leaves its lines in the log.
bool allElementsFound(const QJsonArray &wanted, const QJsonArray &present, LogCategory category)
{
    bool allFound = true;
    for (const QJsonValue &a : wanted) {
        const bool found =
            std::any_of(present.begin(), present.end(), [&a, category](const QJsonValue &b) {
                return valuesEqual(a, b, category);
            });
        allFound = allFound && found;
    }
    return allFound;
}

bool arraysEqual(const QJsonArray &wanted, const QJsonArray &present, LogCategory category)
{
    const auto holdOnly = [&](QJsonValue::Type type) {
        return holdsOnly(type, wanted) && holdsOnly(type, present);
    };
    // Values of one type can always be compared, as can nulls with anything, so nothing is logged
    // and a look-up gives the same answer.
    if (wanted.size() < 2)
        return allElementsFound(wanted, present, category);
    if (holdOnly(QJsonValue::String))
        return allKeysFound<QString>(wanted, present,
                                     [](const QJsonValue &value) { return value.toString(); });
    if (holdOnly(QJsonValue::Double))
        return allKeysFound(wanted, present, numberKey);
    if (holdOnly(QJsonValue::Bool))
        return allKeysFound<int>(wanted, present, [](const QJsonValue &value) {
            return static_cast<int>(value.toBool());
        });
    return allElementsFound(wanted, present, category);
}

bool isComparableScalar(QJsonValue::Type type)
{
    return type == QJsonValue::String || type == QJsonValue::Bool || type == QJsonValue::Double;
}

} // namespace

bool fits(const QJsonObject &filter, const QJsonObject &context, LogCategory category)
{
    for (auto wanted = filter.begin(); wanted != filter.end(); ++wanted) {
        const QJsonValue present = context.value(wanted.key());
        if (present.isUndefined())
            return false;
        if (present.isNull())
            return wanted.value().isNull();
        if (!valuesEqual(wanted.value(), present, category))
            return false;
    }
    return true;
}

bool valuesEqual(const QJsonValue &a, const QJsonValue &b, LogCategory category)
{
    if (a.isNull() || b.isNull())
        return a.isNull() && b.isNull();
    if (a.isObject() && b.isObject())
        return fits(a.toObject(), b.toObject(), category);
    if (a.isArray() && b.isArray())
        return arraysEqual(a.toArray(), b.toArray(), category);
    if (a.type() == b.type() && isComparableScalar(a.type()))
        return a == b;
    qCWarning(category) << "Value type comparison not defined.";
    qCDebug(category) << a;
    qCDebug(category) << b;
    return false;
}
