#pragma once

#include "app/options.h"
#include "app/pluginloader.h"
#include "broker/brokerlink.h"
#include "exchange/chunkhub.h"
#include "exchange/deliveryqueue.h"
#include "exchange/embeddedexchange.h"
#include "routes/routetable.h"

#include <QtCore/QElapsedTimer>

#include <memory>

namespace host {

/// The running host: builds the exchange, the plug-in and the HTTP server, introduces them to each
/// other, and takes them apart again in the order that the plug-in's interface asks for. main()
/// owns the one there is. Lives on the event-loop thread.
class Application
{
public:
    explicit Application(Options options);
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    /// Sets the organisation and application names under which the plug-in finds its settings.
    static void setNames();

    /// Loads the plug-in that the options name, and serves it. False with one line in `error` when
    /// that cannot be; the application is good for nothing but its destructor then.
    bool start(QString *error);

    /// The same with a plug-in that is already there.
    bool start(LoadedPlugin loaded, QString *error);

    /// "http://127.0.0.1:8480": the first address that is served.
    QString url() const;

    /// Takes no more requests, detaches the plug-in, answers what waits and destroys the plug-in.
    /// Returns when all is done; runs an event loop of its own meanwhile.
    void shutDown();

private:
    bool loadConfiguredPlugin(LoadedPlugin *loaded, QString *error) const;
    bool makeServer(QString *error);
    bool makeBroker(QString *error);
    bool listen(QString *error);
    void addRoutes();
    void attachPlugin();

    Options m_options;
    QElapsedTimer m_uptime;
    EmbeddedExchange m_embedded;
    ChunkHub m_hub;
    DeliveryQueue m_deliveries{&m_hub};
    std::unique_ptr<BrokerLink> m_broker; // null: no --exchange
    RouteTable m_routes;
    LoadedPlugin m_plugin;                // goes before what it publishes to
    std::unique_ptr<HttpServer> m_server; // goes first: it holds controllers of the plug-in
};

} // namespace host
