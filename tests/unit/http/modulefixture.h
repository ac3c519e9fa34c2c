#pragma once

#include "context/contextservice.h"
#include "context/fileservice.h"
#include "http/contextcontrollerstrategy.h"
#include "message/messageservice.h"
#include "plugin/hosthandle.h"
#include "support/fakehttp.h"
#include "support/logcapture.h"
#include "support/movableclock.h"
#include "support/recordingpublisher.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <stdexcept>

using http::server::Request;
using support::Exchange;
using support::FakeRequest;
using support::FakeResponse;

/// The stores and the strategy as the plug-in wires them, with a host attached. One per test
/// function.
struct Module
{
    Module() { strategy.setHost(&publisher); }

    support::RecordingPublisher publisher;
    support::MovableClock clock;
    HostHandle host{&publisher};
    FileService files;
    ContextService contexts{&host, &files, &clock};
    MessageService messages;
    ContextControllerStrategy strategy{&contexts, &messages};
};

inline QJsonObject json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

inline QByteArray printed(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

/// The calls of an answer in JSON.
inline QStringList jsonAnswer(int status, const QByteArray &body)
{
    return {QStringLiteral("setHeader Content-Type: application/json"),
            QStringLiteral("writeHead %1").arg(status),
            QStringLiteral("end ") + QString::fromUtf8(body)};
}

/// The calls of an answer without header fields.
inline QStringList bareAnswer(int status, const QString &body = QString())
{
    return {QStringLiteral("writeHead %1").arg(status), QStringLiteral("end ") + body};
}

/// Runs what `deleteLater` has put off.
inline void deleteDeferred()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// The texts of the debug lines of one category; a line of another level reads as an empty text.
inline QStringList debugLines(const support::LogCapture &log, const QString &category)
{
    QStringList texts;
    const auto lines = log.lines(category);
    for (const support::LogLine &line : lines)
        texts.append(line.level == QtDebugMsg ? line.message : QString());
    return texts;
}

/// The text of the std::runtime_error that `handle` throws; empty when it throws none.
inline QString thrownBy(http::Controller &controller)
{
    try {
        controller.handle();
    } catch (const std::runtime_error &error) {
        return QString::fromUtf8(error.what());
    }
    return {};
}
