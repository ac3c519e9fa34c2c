#pragma once

namespace host {

class ChunkHub;
class EmbeddedExchange;
class RouteTable;

/// The embedded exchange over HTTP: POST /exchange/chunks hands chunks to the module, GET
/// /exchange/chunks follows them. `hub` and `exchange` outlive the table's controllers.
void addExchangeRoutes(RouteTable *routes, ChunkHub *hub, EmbeddedExchange *exchange);

} // namespace host
