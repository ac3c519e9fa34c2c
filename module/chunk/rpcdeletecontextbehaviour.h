#pragma once

#include "chunk/rpcbehaviour.h"

/// Removes the context that the body names under "context", known or not, and answers with the id.
class RpcDeleteContextBehaviour final : public RpcBehaviour
{
public:
    using RpcBehaviour::RpcBehaviour;

private:
    const QString &exchange() const override;
    std::optional<QJsonValue> perform(const QJsonObject &body) override;
};
