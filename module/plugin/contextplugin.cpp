#include "plugin/contextplugin.h"

#include "chunk/cardnumbermap.h"
#include "chunk/chunkbehaviour.h"
#include "chunk/chunkbehaviours.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "http/contextcontrollerstrategy.h"
#include "message/messageservice.h"
#include "plugin/hosthandle.h"
#include "system/settings.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>
#include <chrono>
#include <plugin/chunkpublisher.h>

namespace {

Q_LOGGING_CATEGORY(pluginLog, "ch.brenlo.kavo-service.context")

constexpr std::chrono::milliseconds defaultValueDelay{5000};

} // namespace

ContextPlugin::ContextPlugin() = default;

ContextPlugin::~ContextPlugin()
{
    m_files.reset();
    m_host.reset();
    m_chunkListener.reset();
    m_messages.reset();
    m_contexts.reset();
    m_cardNumbers.reset();
    m_contextStrategy.reset();
}

void ContextPlugin::initialize()
{
    m_cardNumbers = std::make_unique<CardNumberMap>();
    m_host = std::make_unique<HostHandle>();
    m_files = std::make_unique<FileService>();
    m_contexts = std::make_unique<ContextService>(m_host.get(), m_files.get(), &m_clock);
    m_messages = std::make_unique<MessageService>();
    m_contexts->setBehaviours(
        chunkBehaviours(m_cardNumbers.get(), m_host.get(), m_contexts.get(), m_messages.get()));
    m_contextStrategy =
        std::make_unique<ContextControllerStrategy>(m_contexts.get(), m_messages.get());
    m_strategies.append(m_contextStrategy.get());
    m_chunkListener = std::make_unique<ChunkListener>(m_cardNumbers.get(), m_contexts.get());
    scheduleDefaultValue();
}

QList<http::ControllerStrategy *> ContextPlugin::controllerStrategies()
{
    return m_strategies;
}

void ContextPlugin::attachHost(ChunkPublisher *host)
{
    if (!m_host)
        return;
    m_host->publisher = host;
    m_contextStrategy->setHost(host);
    host->subscribe(m_chunkListener.get());
}

void ContextPlugin::detachHost()
{
    if (m_host)
        m_host->publisher = nullptr;
}

quintptr ContextPlugin::reserved()
{
    return 0;
}

/// Clients that know no id ask for the context under the empty one, and find an object there.
void ContextPlugin::scheduleDefaultValue()
{
    const Settings settings(QCoreApplication::organizationName(),
                            QCoreApplication::applicationName(), Settings::AllSources);
    const QString key = QStringLiteral("ch.brenlo.kavo-service.context/defaultValues");
    if (!settings.value(key).toBool())
        return;
    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, [this] {
        qCInfo(pluginLog) << "Loading default value" << QString();
        m_contexts->setContext(QString(), QJsonObject());
    });
    timer->start(defaultValueDelay);
}
