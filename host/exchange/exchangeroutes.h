#pragma once

namespace host {

class DeliveryQueue;
class EmbeddedExchange;
class RouteTable;

/// The embedded exchange over HTTP: POST /exchange/chunks hands chunks to the module, GET
/// /exchange/chunks follows them. `queue` and `exchange` outlive the table's controllers.
void addExchangeRoutes(RouteTable *routes, DeliveryQueue *queue, EmbeddedExchange *exchange);

} // namespace host
