#include "exchange/exchangelog.h"

namespace host {

Q_LOGGING_CATEGORY(lcExchange, "kavo.host.exchange")

} // namespace host
