#include "exchange/exchangeroutes.h"

#include "exchange/chunkbody.h"
#include "exchange/deliveryqueue.h"
#include "exchange/eventstreamcontroller.h"
#include "routes/answers.h"
#include "routes/routetable.h"

#include <http/controller.h>
#include <http/server/response.h>

#include <utility>

namespace host {
namespace {

using http::server::Request;

/// POST /exchange/chunks: answered after the module has handled every chunk; nothing is delivered
/// when one is no object. What was taken is delivered whether or not the client stays.
class ChunkPostController final : public QObject, public http::Controller
{
public:
    explicit ChunkPostController(DeliveryQueue *queue)
        : m_queue(queue)
    {
    }

    void handle() override
    {
        QString error;
        auto chunks = readChunkBody(m_request->body(), &error);
        if (!chunks)
            return answerText(*m_response, 400, error);
        const int count = chunks->size();
        m_queue->deliver(std::move(*chunks), [response = m_response, count](bool areHandled) {
            if (areHandled)
                answerJson(*response, 202, {{QStringLiteral("delivered"), count}});
            else
                answerText(*response, 500, QStringLiteral("A chunk could not be handled."));
        });
    }

private:
    DeliveryQueue *m_queue;
};

} // namespace

void addExchangeRoutes(RouteTable *routes, DeliveryQueue *queue, EmbeddedExchange *exchange)
{
    const QString path = QStringLiteral("/exchange/chunks");
    routes->add(Request::Get, path,
                RouteTable::Factory([exchange] { return new EventStreamController(exchange); }));
    routes->add(Request::Post, path,
                RouteTable::Factory([queue] { return new ChunkPostController(queue); }));
}

} // namespace host
