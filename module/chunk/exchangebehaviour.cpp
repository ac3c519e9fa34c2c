#include "chunk/exchangebehaviour.h"

#include "chunk/chunkenvelope.h"

void ExchangeBehaviour::handle(const QJsonValue &chunk)
{
    const ChunkEnvelope envelope(chunk);
    if (envelope.isOn(exchange()))
        accept(envelope);
}
