#pragma once

#include "http/httpserver.h"

#include <optional>

namespace host {

/// Reads "127.0.0.1:8480" or "[::1]:8480": a literal address and a port, 0 for a free one.
std::optional<Endpoint> parseEndpoint(const QString &text);

/// Whether only this machine's programs reach the address.
bool isLoopback(const QString &address);

/// Whether the machine has an IPv6 loopback address to listen on.
bool hasIpv6Loopback();

} // namespace host
