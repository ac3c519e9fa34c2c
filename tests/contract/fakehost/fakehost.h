#pragma once

#include "workstation.h"

#include <QtCore/QPluginLoader>
#include <QtCore/QString>
#include <memory>
#include <plugin/kavoserviceplugin.h>

namespace fakehost {

/// The built plug-in that is under test.
inline QString pluginFile()
{
    return QString::fromLocal8Bit(qgetenv("KAVO_PLUGIN_FILE"));
}

inline QByteArray contextSetting(const QByteArray &line)
{
    return "[ch.brenlo.kavo-service.context]\n" + line + '\n';
}

/// The plug-in as a host holds it: loaded, and destroyed when this goes out of scope. The library
/// stays loaded.
class Plugin
{
public:
    Plugin()
        : m_loader(pluginFile())
        , m_object(m_loader.instance())
    {
        if (!m_object)
            qFatal("%s", qPrintable(m_loader.errorString()));
    }

    QObject *object() const { return m_object.get(); }
    KavoServicePlugin *operator->() const
    {
        return qobject_cast<KavoServicePlugin *>(m_object.get());
    }
    http::ControllerStrategy &strategy() const { return *(*this)->controllerStrategies().at(0); }

    void destroy() { m_object.reset(); }

private:
    QPluginLoader m_loader;
    std::unique_ptr<QObject> m_object;
};

} // namespace fakehost
