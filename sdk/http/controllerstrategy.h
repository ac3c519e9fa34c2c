#pragma once

#include <memory>

namespace http {

class Controller;

namespace server {
class Request;
}

/// Chooses who serves a request. The host asks its strategies in order and takes the first
/// controller it is given.
class ControllerStrategy
{
public:
    ControllerStrategy() = default;
    ControllerStrategy(const ControllerStrategy &) = delete;
    ControllerStrategy &operator=(const ControllerStrategy &) = delete;
    virtual ~ControllerStrategy() = default;

    /// A new controller, which the caller owns from now on, or null when this strategy does not
    /// serve the request. Keeps no reference to the request beyond the call.
    virtual Controller *createController(std::shared_ptr<server::Request> request) = 0;
};

} // namespace http
