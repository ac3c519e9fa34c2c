#pragma once

#include <QtCore/QtGlobal>

class QJsonObject;

namespace host {

/// How many bytes `object` takes as compact JSON, counted without printing it: never too few, and
/// exact but for numbers, literals and rare characters. Stops counting soon after `enough`.
qint64 jsonSizeAtMost(const QJsonObject &object, qint64 enough);

} // namespace host
