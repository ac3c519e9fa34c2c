#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

namespace domain {
struct Coding;
}

/// One entry of a context's "attachments": a FHIR `DocumentReference` whose URL is this module's
/// download route. "content" is a single object where FHIR has an array: the clients and the
/// download route rely on it.
QJsonObject attachmentEntry(const QString &contextId, const QString &fileName,
                            const domain::Coding &coding);

/// Appends `entry` to the "attachments" of the object `context`, in their place: they are copied
/// only when somebody else holds them too. Nothing happens, and false is returned, when there is no
/// such array.
bool appendAttachment(QJsonValue &context, const QJsonObject &entry);

/// The file name that an entry's URL ends in, percent-decoded; empty when it has none. The URL is
/// read the way a user types one, so that "%20" in a path stays as it is.
QString attachmentFileName(const QJsonValue &entry);
