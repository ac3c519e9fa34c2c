#pragma once

#include "http/refusal.h"

#include <QtCore/QByteArray>

#include <string_view>

namespace host {

/// What to say of the transfer codings, in lower case and joined with ",", other than "chunked".
Refusal transferCodingRefusal(const QByteArray &codings);

/// Whether a request head says how long its body is, in one number without fault, of more than 64
/// bits: such a body is too large, not malformed.
bool hasLengthBeyond64Bits(const QByteArray &head);

/// The same of the size line of a chunk, which begins the text. `isFirst` when no chunk came before
/// it, whose line end would be the text's first two bytes.
bool isChunkSizeBeyond64Bits(std::string_view text, bool isFirst);

} // namespace host
