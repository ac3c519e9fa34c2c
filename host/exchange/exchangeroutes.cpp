#include "exchange/exchangeroutes.h"

#include "exchange/chunkbody.h"
#include "exchange/chunkhub.h"
#include "exchange/eventstreamcontroller.h"
#include "routes/answers.h"
#include "routes/routetable.h"

#include <http/server/response.h>

namespace host {
namespace {

using http::server::Request;
using http::server::Response;

// Answered after the module has handled every chunk; nothing is delivered when one is no object.
void deliverBody(ChunkHub *hub, const Request &request, Response &response)
{
    QString error;
    const auto chunks = readChunkBody(request.body(), &error);
    if (!chunks) {
        answerText(response, 400, error);
        return;
    }
    for (const QJsonObject &chunk : *chunks)
        hub->deliver(chunk);
    answerJson(response, 202, {{QStringLiteral("delivered"), chunks->size()}});
}

} // namespace

void addExchangeRoutes(RouteTable *routes, ChunkHub *hub, EmbeddedExchange *exchange)
{
    const QString path = QStringLiteral("/exchange/chunks");
    routes->add(Request::Get, path,
                RouteTable::Factory([exchange] { return new EventStreamController(exchange); }));
    routes->add(Request::Post, path,
                RouteTable::Handler([hub](const Request &request, Response &response) {
                    deliverBody(hub, request, response);
                }));
}

} // namespace host
