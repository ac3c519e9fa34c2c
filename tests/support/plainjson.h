#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>

// GCC tells of AddressSanitizer by a macro, clang by a feature; Qt defines the latter for both.
#if defined(__SANITIZE_ADDRESS__)
#define KAVO_LEAKS_ARE_FOUND
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KAVO_LEAKS_ARE_FOUND
#endif
#endif

#ifdef KAVO_LEAKS_ARE_FOUND
#include <sanitizer/lsan_interface.h>
#endif

namespace support {

/// What Qt itself makes of a text, to compare with. What Qt 5.15 loses of it is hidden from the
/// leak check.
inline QJsonDocument plainJson(const QByteArray &text, QJsonParseError *error)
{
#ifdef KAVO_LEAKS_ARE_FOUND
    const __lsan::ScopedDisabler leaksOfQt;
#endif
    return QJsonDocument::fromJson(text, error);
}

/// Whether two parsers made the same of a text: of members that are found under one name, too, the
/// same ones in the same places.
inline bool areAlike(const QJsonDocument &a, const QJsonParseError &errorOfA,
                     const QJsonDocument &b, const QJsonParseError &errorOfB)
{
    return errorOfA.error == errorOfB.error && errorOfA.offset == errorOfB.offset && a == b &&
           a.isNull() == b.isNull() && a.isArray() == b.isArray() &&
           a.toJson(QJsonDocument::Compact) == b.toJson(QJsonDocument::Compact);
}

} // namespace support
