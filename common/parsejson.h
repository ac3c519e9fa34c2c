#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>

namespace common {

/// QJsonDocument::fromJson() to the letter, document and error alike, but for the memory that Qt
/// 5.15 loses: of members of one name its parser keeps one, and forgets to release the objects and
/// arrays of the others. Anybody may send such a text, again and again.
QJsonDocument parseJson(const QByteArray &text, QJsonParseError *error = nullptr);

} // namespace common
