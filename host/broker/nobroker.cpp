#include "broker/brokerlink.h"

namespace host {

std::unique_ptr<BrokerLink> makeBrokerLink(const BrokerSettings &, ChunkHub *, QString *error)
{
    *error = QStringLiteral("--exchange: this kavo-host was built without RabbitMQ support");
    return nullptr;
}

} // namespace host
