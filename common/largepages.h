#pragma once

#include <QtCore/QByteArray>

namespace common {

/// Tells the system that a block which is about to be filled is large: where it has large pages to
/// give it then hands out a few of them instead of thousands of small ones, which takes longer than
/// copying the bytes. Harmless for any block, of use from a few megabytes on. Linux only; does
/// nothing elsewhere.
void preferLargePages(QByteArray *block);

/// The bytes from `begin` on, `size` of them, as a block of its own; like QByteArray::mid(), but
/// made for large ones.
QByteArray copyOfPart(const QByteArray &bytes, int begin, int size);

} // namespace common
