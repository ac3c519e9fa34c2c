#include "app/application.h"

#include "app/addresses.h"
#include "app/logging.h"
#include "app/tokenfile.h"
#include "broker/brokersettings.h"
#include "exchange/exchangeroutes.h"
#include "routes/answers.h"
#include "routes/health.h"

#include <plugin/kavoserviceplugin.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

namespace host {
namespace {

// Above every id of an earlier run, since no run sees a million chunks a second; and small enough
// to be exact where a number is a double.
qint64 firstEventId()
{
    return QDateTime::currentMSecsSinceEpoch() * 1000;
}

QVector<Endpoint> defaultEndpoints()
{
    QVector<Endpoint> endpoints{{QStringLiteral("127.0.0.1"), Options::defaultPort}};
    if (hasIpv6Loopback())
        endpoints.append({QStringLiteral("::1"), Options::defaultPort});
    return endpoints;
}

BrokerState stateOf(const BrokerLink *broker)
{
    if (!broker)
        return BrokerState::Off;
    return broker->counts().connected ? BrokerState::Connected : BrokerState::Connecting;
}

} // namespace

Application::Application(Options options)
    : m_options(std::move(options))
    , m_embedded(firstEventId())
{
    m_uptime.start();
    m_hub.addExchange(&m_embedded);
    addRoutes();
}

Application::~Application() = default;

void Application::setNames()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Brenlo"));
    QCoreApplication::setApplicationName(QStringLiteral("kavo-service"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KAVO_VERSION));
}

bool Application::start(QString *error)
{
    LoadedPlugin loaded;
    return loadConfiguredPlugin(&loaded, error) && start(std::move(loaded), error);
}

bool Application::start(LoadedPlugin loaded, QString *error)
{
    m_plugin = std::move(loaded);
    if (!makeBroker(error) || !makeServer(error))
        return false;
    try {
        attachPlugin();
    } catch (const std::exception &exception) {
        *error = QStringLiteral("the plug-in %1 failed to start: %2")
                     .arg(m_plugin.file, QString::fromLocal8Bit(exception.what()).simplified());
        return false;
    }
    return true;
}

QString Application::url() const
{
    return QStringLiteral("http://") + m_server->endpoints().first().toString();
}

void Application::shutDown()
{
    if (!m_server)
        return;
    m_server->stopAccepting();
    if (const int left = m_deliveries.clear())
        qCWarning(lcApp) << "Not delivered before the end, nor acknowledged: chunks," << left;
    if (m_broker)
        m_broker->stopDelivering(); // what is not handed over now stays with the broker
    m_plugin.plugin->detachHost();
    m_server->shutDown();
    m_server.reset();
    m_hub.stopDelivering();
    if (m_broker)
        m_broker->finish();
    m_plugin.plugin.reset();
}

bool Application::loadConfiguredPlugin(LoadedPlugin *loaded, QString *error) const
{
    QString file = m_options.plugin;
    if (file.isEmpty()) {
        const QStringList candidates = defaultPluginFiles(QCoreApplication::applicationDirPath());
        for (const QString &candidate : candidates) {
            if (file.isEmpty() && QFileInfo::exists(candidate))
                file = candidate;
        }
        if (file.isEmpty())
            file = candidates.first(); // the reason why not names it
    }
    *loaded = loadPlugin(file);
    *error = loaded->error;
    return loaded->plugin != nullptr;
}

bool Application::makeBroker(QString *error)
{
    if (m_options.exchange.isEmpty())
        return true;
    BrokerSettings settings;
    settings.address = brokerAddress(m_options.exchange, m_options.exchangeCa);
    settings.workstation = m_options.workstation;
    settings.consume = m_options.consume;
    settings.eventExchange = m_options.eventExchange;
    settings.limits.body = m_options.maxBody;
    m_broker = makeBrokerLink(settings, &m_hub, error);
    if (m_broker)
        m_hub.addExchange(m_broker.get());
    return m_broker != nullptr;
}

bool Application::makeServer(QString *error)
{
    AccessPolicy policy;
    policy.hosts = m_options.allowHosts;
    policy.origins = m_options.allowOrigins;
    if (!m_options.tokenFile.isEmpty()) {
        policy.token = readTokenFile(m_options.tokenFile, error);
        if (policy.token.isEmpty())
            return false;
    }
    ServerLimits limits;
    limits.body = m_options.maxBody;
    limits.connections = m_options.maxConnections;
    m_server = std::make_unique<HttpServer>(limits, std::move(policy));
    return listen(error);
}

bool Application::listen(QString *error)
{
    const QVector<Endpoint> endpoints =
        m_options.listen.isEmpty() ? defaultEndpoints() : m_options.listen;
    for (const Endpoint &endpoint : endpoints) {
        QString reason;
        if (!m_server->listen(endpoint, &reason)) {
            *error = QStringLiteral("cannot listen on %1: %2").arg(endpoint.toString(), reason);
            return false;
        }
        if (m_options.tokenFile.isEmpty() && !isLoopback(endpoint.address)) {
            qCWarning(lcApp).noquote()
                << "Listening on" << endpoint.toString()
                << "without a token: whoever reaches this address can read and change every"
                   " context. --token-file FILE asks for one.";
        }
    }
    return true;
}

void Application::addRoutes()
{
    addExchangeRoutes(&m_routes, &m_deliveries, &m_embedded);
    m_routes.add(RouteTable::Method::Get, QStringLiteral("/health"),
                 RouteTable::Handler(
                     [this](const http::server::Request &, http::server::Response &response) {
                         Health health;
                         health.version = QStringLiteral(KAVO_VERSION);
                         health.uptimeSeconds = m_uptime.elapsed() / 1000;
                         health.pluginFile = m_plugin.file;
                         health.pluginInterface = m_plugin.interfaceId;
                         health.broker = stateOf(m_broker.get());
                         health.http = m_server->counts();
                         answerJson(response, 200, healthReport(health));
                     }));
}

void Application::attachPlugin()
{
    m_plugin.plugin->initialize();
    m_plugin.plugin->attachHost(&m_hub);
    QVector<http::ControllerStrategy *> strategies{&m_routes};
    const auto pluginStrategies = m_plugin.plugin->controllerStrategies();
    for (http::ControllerStrategy *strategy : pluginStrategies)
        strategies.append(strategy);
    m_server->setStrategies(strategies);
    if (m_broker)
        m_broker->start();
    for (const Endpoint &endpoint : m_server->endpoints())
        qCInfo(lcApp).noquote() << "Serving" << m_plugin.file << "on" << endpoint.toString();
}

} // namespace host
