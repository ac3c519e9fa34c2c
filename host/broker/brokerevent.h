#pragma once

#include "broker/brokermessage.h"

#include <QtCore/QString>

namespace host {

/// The broker closed a channel because of what was asked on it.
struct ChannelFault
{
    int code = 0; ///< 403 no permission, 404 no such thing, 406 other properties
    QString text; ///< the broker's words
};

/// Something that came from the broker.
struct BrokerEvent
{
    enum Kind {
        None,
        Message,
        Confirmed,
        NotTaken,
        ChannelClosed,
        ConsumerCancelled,
        Blocked,
        Unblocked
    };

    Kind kind = None;
    quint64 tag = 0;       ///< of a message; the number of a confirmation
    bool multiple = false; ///< of a confirmation
    IncomingMessage message;
    qint64 size = 0;           ///< of the message's body, also where it was too large to be kept
    bool isPublishing = false; ///< of a closed channel: the publishing one
    ChannelFault fault;
    QString reason; ///< of a block
};

} // namespace host
