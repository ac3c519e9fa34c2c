#pragma once

#include "context/contextservice.h"
#include "context/fileservice.h"
#include "plugin/hosthandle.h"
#include "support/logcapture.h"
#include "support/movableclock.h"
#include "support/recordingpublisher.h"
#include "support/settingssandbox.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

/// A ContextService with all that it needs, an attached exchange, and what it announced. Lives in a
/// test function.
struct ContextFixture
{
    explicit ContextFixture(const QByteArray &ini = QByteArray())
    {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); // a quiet test's output
        if (!ini.isEmpty())
            sandbox.writeNamed(ini);
        host.publisher = &publisher;
        service = std::make_unique<ContextService>(&host, &files, &clock);
        QObject::connect(service.get(), &ContextService::contextChanged,
                         [this](const QString &key, const QJsonValue &context) {
                             changed.append({key, context});
                             steps.append(QStringLiteral("contextChanged"));
                         });
        QObject::connect(service.get(), &ContextService::contextRemoved,
                         [this](const QString &key) {
                             removed.append(key);
                             steps.append(QStringLiteral("contextRemoved"));
                         });
        publisher.onPublish = [this](const QJsonValue &) {
            steps.append(QStringLiteral("publish"));
        };
    }

    /// What happened so far is forgotten.
    void forget()
    {
        changed.clear();
        removed.clear();
        steps.clear();
        publisher.clear();
    }

    support::SettingsSandbox sandbox;
    support::RecordingPublisher publisher;
    support::MovableClock clock;
    HostHandle host;
    FileService files;
    QVector<QPair<QString, QJsonValue>> changed;
    QStringList removed;
    QStringList steps;
    std::unique_ptr<ContextService> service;
};

inline QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

inline QJsonArray array(const char *json)
{
    return QJsonDocument::fromJson(json).array();
}

inline QString serviceCategory()
{
    return QStringLiteral("ch.brenlo.kavo-service.context.contextservice");
}
