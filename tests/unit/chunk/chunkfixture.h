#pragma once

#include "chunk/cardnumbermap.h"
#include "chunk/chunkbehaviour.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "message/messageservice.h"
#include "plugin/hosthandle.h"
#include "support/logcapture.h"
#include "support/movableclock.h"
#include "support/recordingpublisher.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>

/// JSON written down in a test: an object or an array.
inline QJsonValue json(const QByteArray &text)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        qFatal("not JSON: %s", text.constData());
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

inline QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

/// The stores that behaviours work on, with a host attached. Debug lines are off until a LogCapture
/// turns them on. Lives in a test function, made before any LogCapture.
struct Stores
{
    Stores() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }

    support::RecordingPublisher publisher;
    HostHandle host{&publisher};
    FileService files;
    support::MovableClock clock;
    MessageService messages;
    CardNumberMap cards;
    ContextService contexts{&host, &files, &clock};

    /// Stores `text` under `id` and forgets what that published.
    void put(const char *id, const QByteArray &text)
    {
        contexts.setContext(latin1(id), json(text));
        publisher.clear();
    }

    QJsonValue at(const char *id) { return contexts.context(latin1(id)); }
};
