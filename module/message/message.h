#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>

/// How long a client is to show a message. The numbers are part of the interface.
enum class MessageLifetime : qint32 { Momentary = 0, CustomLifetime = 1, Persistent = 2 };

/// One message to the user. The store keeps it until a client acknowledges its id; the lifetime is
/// only passed on.
struct Message
{
    QString id;
    MessageLifetime lifetimeKind = MessageLifetime::Momentary;
    QString title;
    QString subtitle;
    QString text;
    QDateTime timestamp;       ///< local time; invalid when the message has none
    qint64 customLifetime = 0; ///< meaningful for CustomLifetime only; its unit is the clients'
};
