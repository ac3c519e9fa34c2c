// Splitting multipart uploads. The rate counts the body's bytes, the copy of the contents included.

#include "http/multipartparser.h"

#include <QtCore/QLoggingCategory>
#include <benchmark/benchmark.h>
#include <random>

namespace {

const char *const delimiter = "------------------------d74496d66958873e";

enum Filling { Binary, CrDashes, DelimiterLetters, NearDelimiters };

const char *nameOf(int filling)
{
    static const char *const names[] = {"binary", "CR and dashes", "delimiter's letters",
                                        "near delimiters"};
    return names[filling];
}

QByteArray content(int filling, int size)
{
    std::mt19937 random(7);
    const QByteArray letters =
        filling == CrDashes ? QByteArray("\r\n--") : QByteArray(delimiter) + "\r";
    const QByteArray near = QByteArray("\r\n") + delimiter + " \r\n" + delimiter + "-";
    QByteArray bytes;
    bytes.reserve(size + near.size());
    while (bytes.size() < size) {
        if (filling == NearDelimiters)
            bytes += near;
        else if (filling == Binary)
            bytes += static_cast<char>(random());
        else
            bytes += letters.at(static_cast<int>(random() % static_cast<unsigned>(letters.size())));
    }
    bytes.truncate(size);
    return bytes;
}

QByteArray body(int filling, int parts, int partSize, bool named)
{
    const QByteArray bytes = content(filling, partSize);
    QByteArray made;
    made.reserve(parts * (partSize + 200) + 100);
    for (int part = 0; part < parts; ++part) {
        made += QByteArray(delimiter) + "\r\n";
        if (named)
            made += "Content-Disposition: form-data; name=\"files\"; filename=\"" +
                    QByteArray::number(part) + ".pdf\"\r\n";
        made += "Content-Type: application/pdf\r\n\r\n" + bytes + "\r\n";
    }
    return made + delimiter + "--\r\n";
}

void split(benchmark::State &state, const QByteArray &made, int parts)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    const QString text = QLatin1String(delimiter);
    for (auto _ : state) {
        const auto files = MultipartParser(text, made).parse();
        if (files.size() != parts)
            state.SkipWithError("The body was not split as expected.");
        benchmark::DoNotOptimize(files);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * made.size());
}

/// Arguments: MiB in all, parts, what they are filled with.
void splitBody(benchmark::State &state)
{
    const int parts = static_cast<int>(state.range(1));
    const int partSize = static_cast<int>(state.range(0) * 1024 * 1024 / parts);
    const int filling = static_cast<int>(state.range(2));
    state.SetLabel(nameOf(filling));
    split(state, body(filling, parts, partSize, true), parts);
}

/// Arguments: parts of 16 KiB each.
void splitManyParts(benchmark::State &state)
{
    const int parts = static_cast<int>(state.range(0));
    split(state, body(Binary, parts, 16 * 1024, true), parts);
}

/// Arguments: parts of 16 KiB each, whose names have to be looked for in all that is before them.
void splitPartsWithoutNames(benchmark::State &state)
{
    const int parts = static_cast<int>(state.range(0));
    split(state, body(Binary, parts, 16 * 1024, false), parts);
}

} // namespace

BENCHMARK(splitBody)
    ->ArgNames({"MiB", "parts", "filling"})
    ->ArgsProduct({{1, 4, 16, 64}, {1, 200}, {Binary}})
    ->ArgsProduct({{16}, {1, 200}, {CrDashes, DelimiterLetters, NearDelimiters}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(splitManyParts)->Arg(100)->Arg(200)->Arg(400)->Arg(800)->Unit(benchmark::kMillisecond);
BENCHMARK(splitPartsWithoutNames)
    ->Arg(100)
    ->Arg(200)
    ->Arg(400)
    ->Arg(800)
    ->Unit(benchmark::kMillisecond);
