#pragma once

#include <string_view>

namespace host {

/// Whether the text is made of the characters of a URI path and query: unreserved characters,
/// sub-delimiters, ":", "@", "/", "?", and "%" before two hexadecimal digits.
bool isPathAndQuery(std::string_view text);

/// Whether the text is a host, optionally followed by ":" and a decimal port: a registered name, an
/// IPv4 address, or an IP literal in brackets. No user information.
bool isAuthority(std::string_view text);

/// The host of an authority, without its port.
std::string_view hostOf(std::string_view authority);

} // namespace host
