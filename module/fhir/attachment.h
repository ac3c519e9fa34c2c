#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace domain {

/// FHIR STU3 `Attachment`: a document, held inline or named by its URL. Departs from the standard:
/// `data` and `hash` hold the base64 text itself as Latin-1 bytes, so that it is passed on byte for
/// byte, and are not decoded.
struct Attachment
{
    QString contentType;
    QString language;
    QByteArray data;
    QString url;
    qint32 size = 0;
    QByteArray hash;
    QString title;
    QDateTime creation;
};

/// A member that is absent leaves its field as it was; one of the wrong type empties it.
void fromJson(Attachment &attachment, const QJsonObject &json);

} // namespace domain
