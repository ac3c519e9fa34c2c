#pragma once

#include "message/message.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QSet>
#include <QtCore/QStringList>

/// The messages that wait for a client to show and acknowledge them, by id. Owned by the plug-in
/// object. Nothing expires here.
class MessageService final : public QObject
{
    Q_OBJECT

public:
    /// A message whose id is stored already replaces the stored one in full.
    void addMessage(Message message);

    /// Unknown ids are ignored.
    void removeMessages(const QStringList &ids);

    /// All messages as a JSON array, in the order of the id set, which is no order to rely on.
    QJsonDocument messagesDocument() const;

    bool hasMessages() const;

Q_SIGNALS:
    /// Emitted for every message added, before `addMessage` returns.
    void messagesAvailable();

private:
    QSet<QString> m_messageIds;        // its order is the order of `messagesDocument`
    QMap<QString, Message> m_messages; // holds the same ids
};
