#pragma once

#include "chunk/chunkbehaviour.h"

#include <QtCore/QString>

class ChunkEnvelope;

/// A behaviour that acts on the chunks of one exchange. Chunks of other exchanges pass by without a
/// trace.
class ExchangeBehaviour : public ChunkBehaviour
{
public:
    void handle(const QJsonValue &chunk) final;

private:
    virtual const QString &exchange() const = 0;
    virtual void accept(const ChunkEnvelope &chunk) = 0;
};
