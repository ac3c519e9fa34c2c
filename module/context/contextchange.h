#pragma once

#include <QtCore/QJsonObject>

/// What counts as a change of a context, and how changes are laid over one: functions of their
/// arguments.

/// The members of `now` that differ from the same members of `old`, with their new values. Lists
/// that clients keep beside the context proper ("matchingItems", "actionRequests", "inbox",
/// "attachments") do not count, nor do members that `now` lacks: others follow a context through
/// its ordinary members and must not be woken by these.
QJsonObject changedMembers(const QJsonObject &old, const QJsonObject &now);

/// What a write makes of a context that is an object.
struct ContextChange
{
    QJsonObject object;  ///< the new one
    bool differs;        ///< it is not the old one
    QJsonObject members; ///< the changed members; none when it is the old one
};

/// `now` instead of `old`.
ContextChange replaced(const QJsonObject &old, const QJsonObject &now);

/// `old` with the members of `changes` over it, null ones included. Does not grow with the number
/// of times that it is applied to its own result.
ContextChange merged(const QJsonObject &old, const QJsonObject &changes);
