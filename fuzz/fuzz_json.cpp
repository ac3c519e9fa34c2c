// Parsing without losing memory against Qt's own parsing of the same bytes. With LeakSanitizer it
// also finds what is lost all the same.

#include "common/parsejson.h"
#include "support/plainjson.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QJsonParseError error{};
    QJsonParseError expectedError{};
    const QJsonDocument document = common::parseJson(text, &error);
    const QJsonDocument expected = support::plainJson(text, &expectedError);
    if (!support::areAlike(document, error, expected, expectedError)) {
        std::fputs("Another document, or another error, than Qt's.\n", stderr);
        std::abort();
    }
    return 0;
}
