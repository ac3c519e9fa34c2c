#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <optional>

namespace host {

/// Reads what is posted as chunks: one JSON object, or an array of objects. Empty, with what is
/// wrong and at which offset in `error`, when any of it is something else.
std::optional<QVector<QJsonObject>> readChunkBody(const QByteArray &body, QString *error);

} // namespace host
