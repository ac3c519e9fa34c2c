#include "context/contextchange.h"

#include <QtCore/QString>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace {

bool isSpecial(const QString &key)
{
    return key == QLatin1String("matchingItems") || key == QLatin1String("actionRequests") ||
           key == QLatin1String("inbox") || key == QLatin1String("attachments");
}

using Members = std::vector<std::pair<QString, QJsonValue>>;

void append(Members &members, const QJsonObject &object)
{
    for (auto member = object.constBegin(); member != object.constEnd(); ++member)
        members.emplace_back(member.key(), member.value());
}

/// Of several members of one name the last counts. A QJsonObject moves all members that follow a
/// new one, so they are given to it in the order that it keeps for keys that were inserted.
QJsonObject objectOf(Members members)
{
    const auto byKey = [](const auto &a, const auto &b) { return a.first < b.first; };
    if (!std::is_sorted(members.cbegin(), members.cend(), byKey))
        std::stable_sort(members.begin(), members.end(), byKey);
    QJsonObject object;
    for (auto member = members.cbegin(); member != members.cend(); ++member) {
        const auto next = std::next(member);
        if (next == members.cend() || next->first != member->first)
            object.insert(member->first, member->second);
    }
    return object;
}

/// Parsed objects sort characters beyond U+FFFF behind those from U+E000, objects that keys were
/// inserted into before them; one that holds both kinds does not find all of its members. Keys that
/// are below all these have the same place in both.
bool hasOnePlace(const QString &key)
{
    return std::all_of(key.cbegin(), key.cend(),
                       [](QChar unit) { return unit.unicode() < 0xd800; });
}

struct Effect
{
    Members changed;
    int present = 0; ///< members of the old object that the changes hold as well
    bool replacesTexts = false;
    bool hasSurePlaces = true;
};

Effect effectOf(const QJsonObject &changes, const QJsonObject &old)
{
    Effect effect;
    for (auto member = changes.constBegin(); member != changes.constEnd(); ++member) {
        const QString key = member.key();
        const QJsonValue value = member.value();
        const QJsonValue previous = old.value(key);
        effect.hasSurePlaces = effect.hasSurePlaces && hasOnePlace(key);
        effect.present += previous.isUndefined() ? 0 : 1;
        if (previous == value)
            continue;
        effect.replacesTexts = effect.replacesTexts || previous.isString();
        effect.changed.emplace_back(key, value);
    }
    return effect;
}

/// A QJsonObject keeps the bytes of a text that another text replaced, in all its copies: laying
/// changes over an object again and again would make it ever larger. Where the changes replace
/// texts, the rest of the old object is therefore added to them instead.
QJsonObject filledUp(QJsonObject changes, const QJsonObject &old)
{
    for (auto member = old.constBegin(); member != old.constEnd(); ++member) {
        const QString key = member.key();
        if (!changes.contains(key))
            changes.insert(key, member.value());
    }
    return changes;
}

QJsonObject overwritten(QJsonObject old, const Members &changed)
{
    for (const auto &[key, value] : changed)
        old.insert(key, value);
    return old;
}

QJsonObject mergedObject(const QJsonObject &old, const QJsonObject &changes, const Effect &effect)
{
    // Usual changes are few: put in their places, they move little.
    constexpr int Few = 16;
    if (effect.hasSurePlaces && effect.replacesTexts && effect.present == old.size())
        return changes;
    if (effect.hasSurePlaces && qMin(old.size(), changes.size()) <= Few)
        return effect.replacesTexts ? filledUp(changes, old) : overwritten(old, effect.changed);
    Members members;
    append(members, old);
    append(members, changes);
    return objectOf(std::move(members));
}

} // namespace

QJsonObject changedMembers(const QJsonObject &old, const QJsonObject &now)
{
    Members changes;
    for (auto member = now.constBegin(); member != now.constEnd(); ++member) {
        const QString key = member.key();
        const QJsonValue value = member.value();
        if (!isSpecial(key) && value != old.value(key))
            changes.emplace_back(key, value);
    }
    return objectOf(std::move(changes));
}

ContextChange replaced(const QJsonObject &old, const QJsonObject &now)
{
    const bool differs = now != old;
    return {now, differs, differs ? changedMembers(old, now) : QJsonObject()};
}

ContextChange merged(const QJsonObject &old, const QJsonObject &changes)
{
    Effect effect = effectOf(changes, old);
    if (effect.changed.empty())
        return {old, false, {}};
    const QJsonObject object = mergedObject(old, changes, effect);
    if (!effect.hasSurePlaces)
        return replaced(old, object);
    Members &changed = effect.changed;
    const auto isBeside = [](const auto &member) { return isSpecial(member.first); };
    changed.erase(std::remove_if(changed.begin(), changed.end(), isBeside), changed.end());
    return {object, true, objectOf(std::move(changed))};
}
