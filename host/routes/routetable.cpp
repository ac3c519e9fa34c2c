#include "routes/routetable.h"

#include "routes/answers.h"

#include <http/controller.h>
#include <http/server/response.h>

#include <QtCore/QStringList>

namespace host {
namespace {

using http::server::Request;

/// A request that is answered at once, by a function.
class FunctionController final : public http::Controller
{
public:
    explicit FunctionController(RouteTable::Handler handler)
        : m_handler(std::move(handler))
    {
    }

    void handle() override { m_handler(*m_request, *m_response); }

private:
    RouteTable::Handler m_handler;
};

http::Controller *refusal(const QString &allow)
{
    return new FunctionController([allow](const Request &, http::server::Response &response) {
        response.setHeader(QStringLiteral("Allow"), allow);
        answerText(response, 405, QStringLiteral("This path takes %1").arg(allow));
    });
}

// Head is served where Get is.
Request::HttpMethod servedAs(Request::HttpMethod method)
{
    return method == Request::Head ? Request::Get : method;
}

} // namespace

void RouteTable::add(Method method, const QString &path, const Factory &factory)
{
    m_routes[path].append({method, factory});
}

void RouteTable::add(Method method, const QString &path, const Handler &handler)
{
    add(method, path, Factory([handler] { return new FunctionController(handler); }));
}

http::Controller *RouteTable::createController(std::shared_ptr<Request> request)
{
    // %61 is the same path as a, but %2F separates nothing.
    const auto found = m_routes.constFind(request->url().path(QUrl::PrettyDecoded));
    if (found == m_routes.constEnd())
        return nullptr;
    const Method method = servedAs(request->method());
    for (const auto &entry : *found) {
        if (entry.first == method)
            return entry.second();
    }
    return refusal(allowed(*found));
}

QString RouteTable::allowed(const Route &route)
{
    QStringList names;
    for (const auto &entry : route)
        names.append(entry.first == Request::Get ? QStringLiteral("GET, HEAD")
                                                 : QStringLiteral("POST"));
    names.sort();
    return names.join(QStringLiteral(", "));
}

} // namespace host
