#pragma once

#include "chunk/rpcbehaviour.h"

/// Changes members of the context that the body names under "_id", or of every context when that is
/// "*", and answers once, with the body without "_id".
class RpcUpdateContextBehaviour final : public RpcBehaviour
{
public:
    using RpcBehaviour::RpcBehaviour;

private:
    const QString &exchange() const override;
    std::optional<QJsonValue> perform(const QJsonObject &body) override;
};
