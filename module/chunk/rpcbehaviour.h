#pragma once

#include "chunk/exchangebehaviour.h"

#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>

#include <optional>

class ContextService;
struct HostHandle;

/// A behaviour that carries out a request on the context store and answers it. The request is
/// carried out whether or not a host is there to take the answer. Neither pointer is owned.
class RpcBehaviour : public ExchangeBehaviour
{
public:
    RpcBehaviour(const HostHandle *host, ContextService *contexts);

protected:
    ContextService &contexts() const { return *m_contexts; }
    bool canReply() const;

private:
    void accept(const ChunkEnvelope &request) final;

    /// Carries out the request with the given body. Returns the body of the reply, or nothing for a
    /// request that gets none.
    virtual std::optional<QJsonValue> perform(const QJsonObject &body) = 0;

    const HostHandle *m_host;
    ContextService *m_contexts;
};
