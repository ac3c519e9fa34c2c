#pragma once

#include "http/httpserver.h"

class QJsonObject;

namespace host {

/// How the broker beside the embedded exchange is doing.
enum class BrokerState { Off, Connecting, Connected };

/// What GET /health tells.
struct Health
{
    QString version;
    qint64 uptimeSeconds = 0;
    QString pluginFile;
    QString pluginInterface; ///< the interface id in the plug-in's metadata
    BrokerState broker = BrokerState::Off;
    ServerCounts http;
};

/// {"status", "version", "uptimeSeconds", "plugin": {"file", "interface"}, "exchange": {"embedded",
/// "broker"}, "http": {"connections", "waiting", "controllers"}}; "degraded" while a configured
/// broker is not connected. "http" shows that clients who went away leave nothing behind.
QJsonObject healthReport(const Health &health);

} // namespace host
