#include "routes/health.h"

#include <QtCore/QJsonObject>

namespace host {
namespace {

QString brokerText(BrokerState state)
{
    switch (state) {
    case BrokerState::Connecting:
        return QStringLiteral("connecting");
    case BrokerState::Connected:
        return QStringLiteral("connected");
    case BrokerState::Off:
        break;
    }
    return QStringLiteral("off");
}

} // namespace

QJsonObject healthReport(const Health &health)
{
    const bool degraded = health.broker == BrokerState::Connecting;
    return {
        {QStringLiteral("status"), degraded ? QStringLiteral("degraded") : QStringLiteral("ok")},
        {QStringLiteral("version"), health.version},
        {QStringLiteral("uptimeSeconds"), health.uptimeSeconds},
        {QStringLiteral("plugin"),
         QJsonObject{{QStringLiteral("file"), health.pluginFile},
                     {QStringLiteral("interface"), health.pluginInterface}}},
        {QStringLiteral("exchange"),
         QJsonObject{{QStringLiteral("embedded"), QStringLiteral("up")},
                     {QStringLiteral("broker"), brokerText(health.broker)}}},
        {QStringLiteral("http"),
         QJsonObject{{QStringLiteral("connections"), health.http.connections},
                     {QStringLiteral("waiting"), health.http.waitingExchanges},
                     {QStringLiteral("controllers"), health.http.controllers}}},
    };
}

} // namespace host
