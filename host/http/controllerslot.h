#pragma once

#include <http/controller.h>

#include <QtCore/QObject>
#include <QtCore/QPointer>

#include <memory>
#include <utility>

namespace host {

/// Holds the controller of one exchange and knows how it may be let go: one that is a QObject may
/// have deleted itself already, or have scheduled it, and is ended through deleteLater only.
class ControllerSlot
{
public:
    ControllerSlot() = default;
    explicit ControllerSlot(http::Controller *controller)
        : m_controller(controller)
        , m_object(dynamic_cast<QObject *>(controller))
        , m_isObject(!m_object.isNull())
    {
    }
    ControllerSlot(ControllerSlot &&other) noexcept
        : m_controller(std::exchange(other.m_controller, nullptr))
        , m_object(std::exchange(other.m_object, nullptr))
        , m_isObject(other.m_isObject)
    {
    }
    ControllerSlot &operator=(ControllerSlot &&other) noexcept
    {
        std::swap(m_controller, other.m_controller);
        std::swap(m_object, other.m_object);
        std::swap(m_isObject, other.m_isObject);
        return *this;
    }
    ControllerSlot(const ControllerSlot &) = delete;
    ControllerSlot &operator=(const ControllerSlot &) = delete;
    ~ControllerSlot() { release(); }

    http::Controller *get() const { return m_controller; }

    /// Schedules the deletion of a QObject controller; hands over any other one, to be deleted when
    /// none of its functions is running.
    std::unique_ptr<http::Controller> release()
    {
        http::Controller *controller = std::exchange(m_controller, nullptr);
        if (!m_isObject)
            return std::unique_ptr<http::Controller>(controller);
        if (m_object)
            m_object->deleteLater();
        m_object.clear();
        return nullptr;
    }

private:
    http::Controller *m_controller = nullptr;
    QPointer<QObject> m_object;
    bool m_isObject = false;
};

} // namespace host
