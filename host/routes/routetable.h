#pragma once

#include <http/controllerstrategy.h>
#include <http/server/request.h>

#include <QtCore/QHash>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <functional>

namespace http {
namespace server {
class Response;
}
} // namespace http

namespace host {

/// The host's own routes, asked before the module's. A path that is here is served here whatever
/// the method (405 with Allow for one that has no handler); every other path is left to the module.
/// The application owns the table. Lives on the event-loop thread.
class RouteTable final : public http::ControllerStrategy
{
public:
    using Method = http::server::Request::HttpMethod;
    using Factory = std::function<http::Controller *()>;
    using Handler =
        std::function<void(const http::server::Request &request, http::server::Response &response)>;

    /// Serves `method` on `path` with a new controller per request; GET serves HEAD too.
    void add(Method method, const QString &path, const Factory &factory);

    /// The same for a route that answers at once.
    void add(Method method, const QString &path, const Handler &handler);

    http::Controller *createController(std::shared_ptr<http::server::Request> request) override;

private:
    using Route = QVector<QPair<Method, Factory>>;

    static QString allowed(const Route &route);

    QHash<QString, Route> m_routes;
};

} // namespace host
