// The multipart parser against the byte-at-a-time transcription of its rules.
//
// The input is a multipart body whose first line is the delimiter. For delimiters that the first
// line cannot give, an input may begin with a NUL byte, the delimiter's length and the delimiter.

#include "http/multipartparser.h"
#include "support/multipartreference.h"

#include <QtCore/QLoggingCategory>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const bool quiet = [] {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
        return true;
    }();
    Q_UNUSED(quiet)

    QByteArray body(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QByteArray text = body.left(body.indexOf("\r\n"));
    if (body.size() >= 2 && body.at(0) == '\0') {
        const int length = std::min(static_cast<int>(data[1]), body.size() - 2);
        text = body.mid(2, length);
        body.remove(0, 2 + length);
    }

    const QString delimiter = QString::fromLatin1(text.constData(), text.size());
    const auto files = MultipartParser(delimiter, body).parse();
    if (files != support::parseMultipartByTheRules(delimiter, body).files) {
        std::fputs("The parser departs from the rules.\n", stderr);
        std::abort();
    }
    return 0;
}
