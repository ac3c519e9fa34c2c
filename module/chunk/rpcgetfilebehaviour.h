#pragma once

#include "chunk/rpcbehaviour.h"

/// Answers with the attachment entries of a context that match a filter, each with its file
/// embedded. Changes nothing, and so does nothing at all while there is nobody to answer to.
class RpcGetFileBehaviour final : public RpcBehaviour
{
public:
    using RpcBehaviour::RpcBehaviour;

private:
    const QString &exchange() const override;
    std::optional<QJsonValue> perform(const QJsonObject &body) override;
};
