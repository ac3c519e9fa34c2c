#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>

class QLoggingCategory;

/// How a caller names its logging category, as Q_LOGGING_CATEGORY declares it.
using LogCategory = const QLoggingCategory &(*)();

/// Whether `context` holds what `filter` asks for: every member of the filter, with an equal value;
/// the context may hold more. An empty filter fits every context. The members are compared in the
/// order of their names, and one that is null on both sides ends the walk with success, the members
/// behind it unseen: senders put it in front to reach contexts whatever else they hold.
bool fits(const QJsonObject &filter, const QJsonObject &context, LogCategory category);

/// Whether a filter's value `a` is met by a context's value `b`. An object is met by one that it
/// `fits`, an array by one that meets each of its elements somewhere, the rest by an equal value.
/// Values that cannot be compared are not equal and are logged under `category`.
bool valuesEqual(const QJsonValue &a, const QJsonValue &b, LogCategory category);
