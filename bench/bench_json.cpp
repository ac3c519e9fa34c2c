// Parsing without losing memory, beside Qt's own parsing of the same text, and the look for
// repeated keys that it adds.

#include "common/parsejson.h"
#include "common/repeatedkeys.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <benchmark/benchmark.h>

namespace {

enum Shape { Flat, Nested, Indented, Chunk, Repeating };

/// What an application keeps of a patient: small members, three levels deep.
QJsonObject nested()
{
    QJsonArray items;
    for (int i = 0; i < 5; ++i) {
        const QJsonObject value{{QStringLiteral("value"), 7.2},
                                {QStringLiteral("unit"), QStringLiteral("mmol/L")}};
        items.append(QJsonObject{{QStringLiteral("resourceType"), QStringLiteral("Observation")},
                                 {QStringLiteral("id"), QString::number(i)},
                                 {QStringLiteral("status"), QStringLiteral("final")},
                                 {QStringLiteral("value"), value}});
    }
    const QJsonObject name{{QStringLiteral("family"), QStringLiteral("Muster")},
                           {QStringLiteral("given"), QJsonArray{QStringLiteral("Anna")}}};
    return {{QStringLiteral("patient"),
             QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("active"), true}}},
            {QStringLiteral("matchingItems"), items}};
}

QByteArray text(int shape)
{
    const QJsonDocument context(nested());
    switch (shape) {
    case Flat:
        return R"({"n":"1","text":")" + QByteArray(1000, 'x') + "\"}";
    case Nested:
        return context.toJson(QJsonDocument::Compact);
    case Indented:
        return context.toJson();
    case Repeating:
        return "{\"a\":[1],\"a\":" + context.toJson(QJsonDocument::Compact) + '}';
    default:
        break;
    }
    QJsonArray entries;
    for (int i = 0; i < 1000; ++i)
        entries.append(QJsonObject{{QStringLiteral("resource"), nested()}});
    return QJsonDocument(entries).toJson(QJsonDocument::Compact);
}

template<typename Parse>
void run(benchmark::State &state, Parse parse)
{
    static const char *const names[] = {"flat", "nested", "indented", "1,000 nested", "repeating"};
    const QByteArray json = text(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(parse(json));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * json.size());
    state.SetLabel(names[state.range(0)]);
}

void byQt(benchmark::State &state)
{
    run(state, [](const QByteArray &json) { return QJsonDocument::fromJson(json); });
}

void withoutLoss(benchmark::State &state)
{
    run(state, [](const QByteArray &json) { return common::parseJson(json); });
}

void lookForRepeatedKeys(benchmark::State &state)
{
    run(state, [](const QByteArray &json) { return common::mayRepeatKeys(json); });
}

// Not Qt on repeated keys: what it loses would not be cheap.
BENCHMARK(byQt)->DenseRange(Flat, Chunk);
BENCHMARK(withoutLoss)->DenseRange(Flat, Repeating);
BENCHMARK(lookForRepeatedKeys)->DenseRange(Flat, Repeating);

} // namespace
