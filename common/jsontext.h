#pragma once

#include <QtCore/QByteArray>

class QJsonObject;

namespace common {

/// The text that `QJsonDocument(object).toJson()` gives, byte for byte, in a part of the time. For
/// texts that are printed on every change.
/// Throws std::bad_alloc where the text would be too large for a QByteArray.
QByteArray indentedJson(const QJsonObject &object);

/// The same for `QJsonDocument(object).toJson(QJsonDocument::Compact)`.
QByteArray compactJson(const QJsonObject &object);

} // namespace common
