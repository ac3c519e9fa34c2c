#pragma once

#include "chunk/rpcbehaviour.h"

/// Stores the body as a new context and answers with it. An "_id" that the requester sent gives way
/// to the id that was drawn.
class RpcCreateContextBehaviour final : public RpcBehaviour
{
public:
    using RpcBehaviour::RpcBehaviour;

private:
    const QString &exchange() const override;
    std::optional<QJsonValue> perform(const QJsonObject &body) override;
};
