#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>

/// The one text form of date and time in messages: "yyyy-MM-ddTHH:mm:ss" in local time, without
/// fractions and without a zone, for example 2020-01-21T14:05:09.

/// Empty for an invalid timestamp.
QString timestampToString(const QDateTime &timestamp);

/// False, with a warning in the log, when `text` is not exactly of the form above; `timestamp` is
/// invalid then.
bool timestampFromString(const QString &text, QDateTime &timestamp);
