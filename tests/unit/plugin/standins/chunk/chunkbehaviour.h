#pragma once

struct ChunkBehaviour
{
};
