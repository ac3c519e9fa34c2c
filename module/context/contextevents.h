#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>

/// The chunks that tell other services of the host about contexts. "context-changed" has no
/// exchange of its own but names its source; the other two go to an exchange and do not: listeners
/// depend on both shapes.

QJsonObject contextCreatedChunk(const QString &id);
QJsonObject contextRemovedChunk(const QString &id);

/// `changes` are the changed ordinary members, `context` is the whole context as stored.
QJsonObject contextChangedChunk(const QString &id, const QJsonObject &changes,
                                const QJsonValue &context);
