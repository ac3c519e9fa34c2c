#include "common/jsontext.h"
#include "context/contextchange.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "fhir/coding.h"
#include "plugin/hosthandle.h"
#include "system/clock.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>

#include <benchmark/benchmark.h>
#include <plugin/chunkpublisher.h>

namespace {

/// A context of about 1,024 bytes of JSON: a patient, two items and some texts. `number` makes it
/// differ from the next.
QJsonObject oneKilobyte(int number)
{
    const QJsonObject patient{
        {QStringLiteral("resourceType"), QStringLiteral("Patient")},
        {QStringLiteral("id"), QStringLiteral("patient-%1").arg(number)},
        {QStringLiteral("gender"), QStringLiteral("female")},
        {QStringLiteral("birthDate"), QStringLiteral("1970-01-01")},
        {QStringLiteral("name"),
         QJsonArray{QJsonObject{{QStringLiteral("family"), QStringLiteral("Muster")},
                                {QStringLiteral("given"), QJsonArray{QStringLiteral("Maria")}}}}},
        {QStringLiteral("address"),
         QJsonArray{QJsonObject{{QStringLiteral("city"), QStringLiteral("Bern")},
                                {QStringLiteral("line"), QStringLiteral("Bundesplatz 3")}}}}};
    QJsonObject context{{QStringLiteral("_id"), QStringLiteral("abcdefghijklmnop")},
                        {QStringLiteral("patient"), patient},
                        {QStringLiteral("matchingItems"), QJsonArray()},
                        {QStringLiteral("actionRequests"), QJsonArray()},
                        {QStringLiteral("number"), number}};
    for (int i = 0; i < 8; ++i)
        context.insert(QStringLiteral("note%1").arg(i), QString(60, QLatin1Char('a' + char(i))));
    return context;
}

QString idOf(int number)
{
    return QStringLiteral("context%1").arg(number, 9, 10, QLatin1Char('0'));
}

// Final, and never deleted through its base, whose destructor is protected.
class CountingPublisher final : public ChunkPublisher
{
public:
    void publish(const QJsonValue &chunk) override { benchmark::DoNotOptimize(&chunk); }
    void subscribe(ChunkUpdateListener *) override {}
};

/// The settings are looked up under the application's names.
const QCoreApplication &theApplication()
{
    static int count = 1;
    static char name[] = "bench_contextservice";
    static char *arguments[] = {name, nullptr};
    static const QCoreApplication application(count, arguments);
    return application;
}

/// A service with as many contexts as the benchmark's first argument, an exchange attached and
/// debug off, as in production.
class Store
{
public:
    explicit Store(const benchmark::State &state)
        : Store(static_cast<int>(state.range(0)))
    {
    }

    explicit Store(int contexts)
    {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
        host.publisher = &publisher;
        for (int i = 0; i < contexts; ++i)
            service.setContext(idOf(i), parsed(i));
    }

    /// As a request brings it: parsed, sharing nothing with what is stored.
    static QJsonObject parsed(int number)
    {
        return QJsonDocument::fromJson(QJsonDocument(oneKilobyte(number)).toJson()).object();
    }

    const QCoreApplication &application = theApplication();
    CountingPublisher publisher;
    HostHandle host;
    FileService files;
    SystemClock clock;
    ContextService service{&host, &files, &clock};
    const QString id = idOf(5);
};

void context(benchmark::State &state)
{
    Store store(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.service.context(store.id));
}
BENCHMARK(context)->Arg(10)->Arg(10000);

void printedContextUnchanged(benchmark::State &state)
{
    Store store(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.service.printedContext(store.id));
}
BENCHMARK(printedContextUnchanged)->Arg(10)->Arg(10000);

void printByQt(benchmark::State &state)
{
    const QJsonObject object = Store::parsed(1);
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument(object).toJson());
}
BENCHMARK(printByQt);

void printByIndentedJson(benchmark::State &state)
{
    const QJsonObject object = Store::parsed(1);
    for (auto _ : state)
        benchmark::DoNotOptimize(common::indentedJson(object));
}
BENCHMARK(printByIndentedJson);

void setContextAlternating(benchmark::State &state)
{
    Store store(state);
    const QJsonObject values[] = {Store::parsed(1), Store::parsed(2)};
    int number = 0;
    for (auto _ : state)
        store.service.setContext(store.id, values[number++ % 2]);
}
BENCHMARK(setContextAlternating)->Arg(10)->Arg(10000);

void setContextToAnEqualValue(benchmark::State &state)
{
    Store store(state);
    const QJsonObject values[] = {Store::parsed(1), Store::parsed(1)};
    int number = 0;
    for (auto _ : state)
        store.service.setContext(store.id, values[number++ % 2]);
}
BENCHMARK(setContextToAnEqualValue)->Arg(10)->Arg(10000);

void setContextThenPrint(benchmark::State &state)
{
    Store store(state);
    const QJsonObject values[] = {Store::parsed(1), Store::parsed(2)};
    int number = 0;
    for (auto _ : state) {
        store.service.setContext(store.id, values[number++ % 2]);
        benchmark::DoNotOptimize(store.service.printedContext(store.id));
    }
}
BENCHMARK(setContextThenPrint)->Arg(10)->Arg(10000);

/// The usual PUT: one object member.
void updateContextWithPatient(benchmark::State &state)
{
    Store store(state);
    QJsonObject updates[2];
    for (int i = 0; i < 2; ++i)
        updates[i].insert(QStringLiteral("patient"),
                          Store::parsed(i).value(QLatin1String("patient")));
    int number = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(store.service.updateContext(store.id, updates[number++ % 2]));
}
BENCHMARK(updateContextWithPatient)->Arg(10)->Arg(10000);

void updateContextWithTheWholeContext(benchmark::State &state)
{
    Store store(state);
    const QJsonObject values[] = {Store::parsed(1), Store::parsed(2)};
    int number = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(store.service.updateContext(store.id, values[number++ % 2]));
}
BENCHMARK(updateContextWithTheWholeContext)->Arg(10)->Arg(10000);

/// A text member replaced over and over: the second argument is how often before the measurement
/// begins, and must make no difference.
void updateContextAfterManyUpdates(benchmark::State &state)
{
    Store store(state);
    int number = 0;
    const auto update = [&] {
        store.service.updateContext(
            store.id,
            QJsonObject{{QStringLiteral("note1"), QStringLiteral("text %1").arg(++number)}});
    };
    for (int i = 0; i < state.range(1); ++i)
        update();
    for (auto _ : state)
        update();
}
BENCHMARK(updateContextAfterManyUpdates)
    ->Args({10, 0})
    ->Args({10, 10000})
    ->Args({10, 1000000})
    ->Iterations(20000);

/// Every other of twice as many members: merged, the two sorts take turns.
QJsonObject everyOther(int count, int first, const QJsonValue &value)
{
    QJsonObject object;
    for (int i = 0; i < count; ++i)
        object.insert(idOf(2 * i + first), value);
    return object;
}

/// Must grow with the number of members, not with its square.
void mergeInterleavedMembers(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    const QJsonObject old = everyOther(count, 0, 1);
    const QJsonObject changes = everyOther(count, 1, 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(merged(old, changes));
    state.SetComplexityN(count);
}
BENCHMARK(mergeInterleavedMembers)->RangeMultiplier(10)->Range(1000, 100000)->Complexity();

/// The same with texts, one of which is replaced.
void mergeInterleavedTexts(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    const QJsonObject old = everyOther(count, 0, QStringLiteral("old"));
    QJsonObject changes = everyOther(count, 1, QStringLiteral("new"));
    changes.insert(idOf(0), QStringLiteral("new"));
    for (auto _ : state)
        benchmark::DoNotOptimize(merged(old, changes));
    state.SetComplexityN(count);
}
BENCHMARK(mergeInterleavedTexts)->RangeMultiplier(10)->Range(1000, 100000)->Complexity();

void changesOfEveryMember(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    const QJsonObject old = everyOther(count, 0, 1);
    const QJsonObject now = everyOther(count, 0, 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(changedMembers(old, now));
    state.SetComplexityN(count);
}
BENCHMARK(changesOfEveryMember)->RangeMultiplier(10)->Range(1000, 100000)->Complexity();

void collectGarbageNothingToDo(benchmark::State &state)
{
    Store store(state);
    for (auto _ : state) {
        state.PauseTiming();
        for (int i = 0; i < state.range(0); ++i)
            store.service.context(idOf(i));
        state.ResumeTiming();
        store.service.collectGarbage(60000);
    }
}
BENCHMARK(collectGarbageNothingToDo)->Arg(10)->Arg(10000);

/// What an upload of many files does: each is listed and told of by itself.
void addFiles(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        Store store(0);
        for (int i = 0; i < count; ++i)
            store.service.addFile(QStringLiteral("a"), idOf(i), "x", domain::Coding());
    }
    state.SetComplexityN(count);
}
BENCHMARK(addFiles)->Arg(1000)->Arg(4000)->Arg(16000)->Complexity()->Unit(benchmark::kMillisecond);

void removeFiles(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    QStringList names;
    for (auto _ : state) {
        state.PauseTiming();
        Store store(0);
        names.clear();
        for (int i = 0; i < count; ++i) {
            names.append(idOf(i));
            store.service.addFile(QStringLiteral("a"), idOf(i), "x", domain::Coding());
        }
        state.ResumeTiming();
        store.service.removeFiles(QStringLiteral("a"), names);
    }
    state.SetComplexityN(count);
}
BENCHMARK(removeFiles)->Arg(500)->Arg(1000)->Arg(2000)->Complexity()->Unit(benchmark::kMillisecond);

} // namespace
