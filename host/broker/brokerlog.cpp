#include "broker/brokerlog.h"

namespace host {

Q_LOGGING_CATEGORY(lcBroker, "kavo.host.broker")

} // namespace host
