#pragma once

#include <memory>
#include <utility>

namespace http {

namespace server {
class Request;
class Response;
} // namespace server

/// Serves one request. A strategy makes it; the host calls `setRequest`, `setResponse` and
/// `handle`, once each and in this order, and deletes it when the exchange is over: its answer is
/// finished, or its connection is gone.
///
/// A controller that answers later is a QObject too, first in its list of bases. The host ends such
/// a controller through `QObject::deleteLater`, and the controller may do so itself: never delete
/// it directly. `handle` may throw; the host answers 500 then.
class Controller
{
public:
    Controller() = default;
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;
    virtual ~Controller() = default;

    virtual void setRequest(std::shared_ptr<server::Request> request)
    {
        m_request = std::move(request);
    }

    virtual void setResponse(std::shared_ptr<server::Response> response)
    {
        m_response = std::move(response);
    }

    /// Does the work and answers through the response, now, later, or never.
    virtual void handle() = 0;

protected:
    std::shared_ptr<server::Request> m_request;
    std::shared_ptr<server::Response> m_response;
};

} // namespace http
