#pragma once

class ChunkPublisher;

/// Where the module's chunks go: the host's publisher while one is attached, null otherwise. The
/// plug-in object owns the one handle; whoever publishes reads it afresh each time and does nothing
/// while it is null.
struct HostHandle
{
    ChunkPublisher *publisher = nullptr;
};
