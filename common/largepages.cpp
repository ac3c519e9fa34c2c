#include "common/largepages.h"

#include <cstdint>
#include <cstring>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#endif

namespace common {

namespace {

constexpr int largeBytes = 4 * 1024 * 1024;

} // namespace

void preferLargePages(QByteArray *block)
{
#ifdef Q_OS_LINUX
    // Whole large pages inside the block only, so that no neighbour of it is concerned.
    constexpr auto pageBytes = std::uintptr_t(2) * 1024 * 1024;
    const auto begin = reinterpret_cast<std::uintptr_t>(block->data());
    const std::uintptr_t first = (begin + pageBytes - 1) / pageBytes * pageBytes;
    const std::uintptr_t end = (begin + std::uintptr_t(block->size())) / pageBytes * pageBytes;
    if (first < end)
        madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE); // a wish, no more
#else
    Q_UNUSED(block)
#endif
}

QByteArray copyOfPart(const QByteArray &bytes, int begin, int size)
{
    if (size < largeBytes)
        return bytes.mid(begin, size);
    QByteArray part(size, Qt::Uninitialized);
    preferLargePages(&part);
    std::memcpy(part.data(), bytes.constData() + begin, std::size_t(size));
    return part;
}

} // namespace common
