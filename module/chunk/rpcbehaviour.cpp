#include "chunk/rpcbehaviour.h"

#include "chunk/chunkenvelope.h"
#include "plugin/hosthandle.h"

#include <plugin/chunkpublisher.h>

RpcBehaviour::RpcBehaviour(const HostHandle *host, ContextService *contexts)
    : m_host(host)
    , m_contexts(contexts)
{
}

bool RpcBehaviour::canReply() const
{
    return m_host->publisher != nullptr;
}

void RpcBehaviour::accept(const ChunkEnvelope &request)
{
    const std::optional<QJsonValue> body = perform(request.body());
    // What the request set off may have detached the host: look again now.
    if (body && canReply())
        m_host->publisher->publish(request.reply(*body));
}
