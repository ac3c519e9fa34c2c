#include "chunk/addmatchingitemsbehaviour.h"
#include "chunk/cardnumbermap.h"
#include "chunk/chunkbehaviours.h"
#include "chunk/chunklistener.h"
#include "chunk/contextfilter.h"
#include "chunk/entrybatch.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "message/messageservice.h"
#include "plugin/hosthandle.h"
#include "support/movableclock.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>

#include <benchmark/benchmark.h>

namespace {

Q_LOGGING_CATEGORY(benchLog, "ch.brenlo.bench")

/// The stores without a host, and without the debug lines that Qt turns on by default.
struct Stores
{
    Stores() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }

    HostHandle host;
    FileService files;
    support::MovableClock clock;
    MessageService messages;
    CardNumberMap cards;
    ContextService contexts{&host, &files, &clock};
};

QJsonObject item(int id, int version)
{
    return {{QStringLiteral("id"), QStringLiteral("item-%1").arg(id)},
            {QStringLiteral("resourceType"), QStringLiteral("Observation")},
            {QStringLiteral("status"), QStringLiteral("final")},
            {QStringLiteral("version"), version}};
}

QJsonArray items(int count)
{
    QJsonArray made;
    for (int id = 0; id < count; ++id)
        made.append(item(id, 0));
    return made;
}

/// Every other entry replaces one of `items`, the rest are new.
QJsonArray entries(int count, int version)
{
    QJsonArray made;
    for (int i = 0; i < count; ++i) {
        const int id = i % 2 == 0 ? i : 1000000 + i;
        made.append(QJsonObject{{QStringLiteral("resource"), item(id, version)}});
    }
    return made;
}

QJsonObject chunk(const QJsonObject &filter, const QJsonArray &entryList)
{
    return {
        {QStringLiteral("exchange"), QStringLiteral("kavo-context-add-matching-items")},
        {QStringLiteral("source"), QStringLiteral("bench")},
        {QStringLiteral("body"), QJsonObject{{QStringLiteral("filter"), filter},
                                             {QStringLiteral("matchingItems"),
                                              QJsonObject{{QStringLiteral("entry"), entryList}}}}}};
}

QJsonObject patient(int number)
{
    return {{QStringLiteral("id"), QString::number(number)},
            {QStringLiteral("name"), QStringLiteral("Muster")},
            {QStringLiteral("birthDate"), QStringLiteral("1970-01-01")}};
}

QJsonObject patientFilter(int number)
{
    const QJsonObject wanted{{QStringLiteral("id"), QString::number(number)}};
    return {{QStringLiteral("patient"), wanted}};
}

/// As many entries as items, the merge alone.
void mergeArrays(benchmark::State &state)
{
    const int count = int(state.range(0));
    const QJsonArray existing = items(count);
    const QJsonArray incoming = entries(count, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(EntryBatch(incoming).mergedInto(existing));
    state.SetComplexityN(count);
}

/// As many entries as items, through the behaviour and the store: what a chunk costs.
void mergeIntoContext(benchmark::State &state, int entryCount, int itemCount)
{
    Stores stores;
    AddMatchingItemsBehaviour behaviour(&stores.contexts);
    const QString id = QStringLiteral("a");
    const QJsonObject before{{QStringLiteral("matchingItems"), items(itemCount)}};
    const QJsonObject incoming = chunk(QJsonObject(), entries(entryCount, 1));
    for (auto _ : state) {
        state.PauseTiming();
        stores.contexts.setContext(id, before);
        state.ResumeTiming();
        behaviour.handle(incoming);
    }
}

void mergeEqualNumbers(benchmark::State &state)
{
    const int count = int(state.range(0));
    mergeIntoContext(state, count, count);
    state.SetComplexityN(count);
}

void merge1000Into2000(benchmark::State &state)
{
    mergeIntoContext(state, 1000, 2000);
}

/// One entry into the contexts of one patient out of ten, each with five items.
void mergeIntoEveryTenth(benchmark::State &state)
{
    Stores stores;
    const int count = int(state.range(0));
    for (int i = 0; i < count; ++i) {
        const QJsonObject context{{QStringLiteral("_id"), QString::number(i)},
                                  {QStringLiteral("patient"), patient(i % 10)},
                                  {QStringLiteral("matchingItems"), items(5)}};
        stores.contexts.setContext(QString::number(i), context);
    }
    AddMatchingItemsBehaviour behaviour(&stores.contexts);
    int version = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QJsonObject incoming = chunk(patientFilter(3), entries(1, ++version));
        state.ResumeTiming();
        behaviour.handle(incoming);
    }
    state.SetComplexityN(count);
}

/// A list of texts that all have to be found in a list of the same length, in the worst order.
void filterTexts(benchmark::State &state)
{
    QJsonArray wanted;
    QJsonArray present;
    for (int i = 0; i < int(state.range(0)); ++i) {
        wanted.append(QString::number(i));
        present.prepend(QString::number(i));
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(valuesEqual(wanted, present, &benchLog));
    state.SetComplexityN(state.range(0));
}

/// What every chunk on a busy exchange costs when it is none of the module's.
void dispatchToNobody(benchmark::State &state)
{
    Stores stores;
    stores.contexts.setBehaviours(
        chunkBehaviours(&stores.cards, &stores.host, &stores.contexts, &stores.messages));
    ChunkListener listener(&stores.cards, &stores.contexts);
    const QJsonValue incoming = QJsonObject{
        {QStringLiteral("exchange"), QStringLiteral("some-other-exchange")},
        {QStringLiteral("source"), QStringLiteral("bench")},
        {QStringLiteral("body"), QJsonObject{{QStringLiteral("items"), items(20)}}},
    };
    for (auto _ : state)
        listener.chunkUpdate(incoming);
}

BENCHMARK(mergeArrays)->RangeMultiplier(10)->Range(100, 10000)->Complexity(benchmark::oN);
BENCHMARK(mergeEqualNumbers)->RangeMultiplier(10)->Range(100, 10000)->Complexity(benchmark::oN);
BENCHMARK(merge1000Into2000);
BENCHMARK(mergeIntoEveryTenth)->RangeMultiplier(10)->Range(100, 10000)->Complexity(benchmark::oN);
BENCHMARK(filterTexts)->RangeMultiplier(10)->Range(10, 10000)->Complexity(benchmark::oN);
BENCHMARK(dispatchToNobody);

} // namespace
