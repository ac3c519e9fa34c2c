#pragma once

#include "chunk/rpcbehaviour.h"

/// Replaces the context that the body names under "_id" by the rest of the body, and answers with
/// that rest. The stored context has no "_id": it is known by its key alone.
class RpcSetContextBehaviour final : public RpcBehaviour
{
public:
    using RpcBehaviour::RpcBehaviour;

private:
    const QString &exchange() const override;
    std::optional<QJsonValue> perform(const QJsonObject &body) override;
};
