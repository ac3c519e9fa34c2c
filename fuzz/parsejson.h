#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <cstddef>
#include <cstdint>

// GCC tells of AddressSanitizer by a macro, clang by a feature; Qt defines the latter for both.
#if defined(__SANITIZE_ADDRESS__)
#define KAVO_FUZZ_LEAKS_ARE_FOUND
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KAVO_FUZZ_LEAKS_ARE_FOUND
#endif
#endif

#ifdef KAVO_FUZZ_LEAKS_ARE_FOUND
#include <sanitizer/lsan_interface.h>
#endif

/// Parses the input of a fuzz target. Qt 5.15 leaks the arrays and objects under a key that comes
/// more than once; that alone is hidden from the leak check here, so that it shows our own.
inline QJsonDocument parseJson(const std::uint8_t *data, std::size_t size)
{
#ifdef KAVO_FUZZ_LEAKS_ARE_FOUND
    const __lsan::ScopedDisabler leaksOfQt;
#endif
    return QJsonDocument::fromJson(
        QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
}
