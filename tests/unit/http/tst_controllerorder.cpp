// What stands before what while a controller handles its request, and what it keeps meanwhile.
#include "modulefixture.h"

#include <QtTest/QTest>
#include <utility>

namespace {

const QString id = QStringLiteral("abc");
const QString path = QStringLiteral("/context/abc");
const QString eventPath = QStringLiteral("/context/abc/event");
const QString controllerCategory = QStringLiteral("ch.brenlo.kavo-service.context.controller");
const QString serviceCategory = QStringLiteral("ch.brenlo.kavo-service.context.contextservice");
const QString eventCategory = QStringLiteral("ch.brenlo.kavo-service.context.eventcontroller");

} // namespace

class TestControllerOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void methodsAreTheirNumbers();
    void aLaterRequestAndResponseReplaceTheKeptOnes_data() { targets(); }
    void aLaterRequestAndResponseReplaceTheKeptOnes();
    void bothAreReleasedWithTheController_data() { targets(); }
    void bothAreReleasedWithTheController();
    void deletionIsLoggedBetweenTheFirstAnswerAndTheRemoval();
    void putIsLoggedBeforeItReachesTheStore();
    void aParseErrorIsLoggedBeforeItIsAnswered();
    void whatOthersStoreUnderANewIdIsReplaced();
    void anImmediateVersionCountsAsSentBeforeItsAnswer();
    void anAwaitedVersionCountsAsSentAfterItsAnswer();
    void anAnswerOfARemovedContextIsNotLogged();
    void aDeletedMessageEventIsLoggedToo();

private:
    static void targets();
};

void TestControllerOrder::targets()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("plain controller") << path;
    QTest::newRow("long poll of a context") << eventPath;
    QTest::newRow("long poll of messages") << QStringLiteral("/message/event");
}

/// Hosts and plug-ins that were built apart agree on the numbers alone.
void TestControllerOrder::methodsAreTheirNumbers()
{
    Module module;
    QVector<int> served;
    for (int number = 0; number < 16; ++number) {
        const auto method = static_cast<Request::HttpMethod>(number);
        for (const QString &target : {path, QStringLiteral("/context")}) {
            if (Exchange(module.strategy, {method, target}).isServed())
                served.append(number);
        }
    }
    QCOMPARE(served, (QVector<int>{0, 1, 3, 4}));

    module.contexts.setContext(id, json(R"({"a": 1})"));
    const auto statusOf = [&](int number, const QString &target) {
        Exchange exchange(module.strategy,
                          {static_cast<Request::HttpMethod>(number), target, "{}"});
        return exchange.handle().response->statuses().value(0);
    };
    QCOMPARE(statusOf(3, QStringLiteral("/context")), 200); // POST: a second context
    QCOMPARE(module.contexts.contextIds().size(), 2);
    QCOMPARE(statusOf(0, path), 204);                           // DELETE
    QCOMPARE(statusOf(1, path), 404);                           // GET
    QCOMPARE(statusOf(4, QStringLiteral("/context/new")), 201); // PUT
}

void TestControllerOrder::aLaterRequestAndResponseReplaceTheKeptOnes()
{
    QFETCH(QString, target);
    Module module;
    const Exchange exchange(module.strategy, {Request::Get, target});
    QCOMPARE(exchange.request.use_count(), 2L);
    QCOMPARE(exchange.response.use_count(), 2L);
    const auto request = std::make_shared<FakeRequest>(Request::Get, target);
    const auto response = std::make_shared<FakeResponse>();
    exchange.controller()->setRequest(request);
    exchange.controller()->setResponse(response);
    QCOMPARE(exchange.request.use_count(), 1L);
    QCOMPARE(exchange.response.use_count(), 1L);
    QCOMPARE(request.use_count(), 2L);
    QCOMPARE(response.use_count(), 2L);
}

void TestControllerOrder::bothAreReleasedWithTheController()
{
    QFETCH(QString, target);
    Module module;
    Exchange exchange(module.strategy, {Request::Get, target});
    exchange.handle();
    QCOMPARE(exchange.request.use_count(), 2L);
    exchange.close();
    QCOMPARE(exchange.request.use_count(), 1L);
    QCOMPARE(exchange.response.use_count(), 1L);
}

void TestControllerOrder::deletionIsLoggedBetweenTheFirstAnswerAndTheRemoval()
{
    Module module;
    support::LogCapture log;
    QStringList steps;
    const auto note = [&](const char *what) {
        steps.append(QStringLiteral("%1 behind %2")
                         .arg(QLatin1String(what))
                         .arg(log.lines(controllerCategory).size()));
    };
    Exchange exchange(module.strategy, {Request::Delete, path});
    exchange.response->onEnd = [&] { note("end"); };
    module.publisher.onPublish = [&](const QJsonValue &) { note("removal"); };
    exchange.handle();
    QCOMPARE(steps, (QStringList{QStringLiteral("end behind 0"), QStringLiteral("removal behind 1"),
                                 QStringLiteral("end behind 1")}));
    QCOMPARE(exchange.response->statuses(), (QVector<int>{404, 204}));
}

void TestControllerOrder::putIsLoggedBeforeItReachesTheStore()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy, {Request::Put, path, R"({"a": 1})"}).handle();
    const QVector<support::LogLine> &lines = log.lines();
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines.at(0).category, controllerCategory);
    QCOMPARE(lines.at(0).message, QStringLiteral("Setting context \"abc\" ."));
    QCOMPARE(lines.at(1).category, serviceCategory);
    QVERIFY(lines.at(1).message.startsWith(QLatin1String("Setting context \"abc\" to object ")));
    QVERIFY(lines.at(2).message.startsWith(QLatin1String("Notifying context \"abc\" changed. ")));
}

void TestControllerOrder::aParseErrorIsLoggedBeforeItIsAnswered()
{
    Module module;
    support::LogCapture log;
    QVector<int> linesAtEnd;
    Exchange exchange(module.strategy, {Request::Post, QStringLiteral("/context"), "x"});
    exchange.response->onEnd = [&] { linesAtEnd.append(log.lines().size()); };
    exchange.handle();
    QCOMPARE(exchange.response->statuses(), (QVector<int>{400, 200}));
    QCOMPARE(linesAtEnd.value(0), 3);
}

void TestControllerOrder::whatOthersStoreUnderANewIdIsReplaced()
{
    Module module;
    bool isFirst = true;
    module.publisher.onPublish = [&](const QJsonValue &chunk) {
        if (!std::exchange(isFirst, false))
            return;
        const QJsonValue data = chunk.toObject().value(QLatin1String("data"));
        module.contexts.setContext(data.toObject().value(QLatin1String("contextId")).toString(),
                                   json(R"({"a": 1, "theirs": 1})"));
    };
    Exchange exchange(module.strategy, {Request::Post, QStringLiteral("/context"), R"({"a": 2})"});
    exchange.handle();
    const QString newId = module.contexts.contextIds().value(0);
    QJsonObject stored = json(R"({"a": 2, "matchingItems": []})");
    stored.insert(QStringLiteral("_id"), newId);
    QCOMPARE(module.contexts.context(newId), QJsonValue(stored));
    QCOMPARE(exchange.response->statuses(), QVector<int>{200});
}

void TestControllerOrder::anImmediateVersionCountsAsSentBeforeItsAnswer()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange exchange(module.strategy, {Request::Get, eventPath});
    QJsonObject sent;
    exchange.response->onEnd = [&] { sent = module.strategy.sentContexts().value(id); };
    exchange.handle();
    QVERIFY(exchange.response->isAnswered());
    QCOMPARE(sent, json(R"({"a": 1})"));
}

void TestControllerOrder::anAwaitedVersionCountsAsSentAfterItsAnswer()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, {Request::Get, eventPath}).handle();
    Exchange exchange(module.strategy, {Request::Get, eventPath});
    QJsonObject sent;
    exchange.response->onEnd = [&] { sent = module.strategy.sentContexts().value(id); };
    exchange.handle();
    module.contexts.setContext(id, json(R"({"a": 1, "inbox": 2})"));
    QVERIFY(exchange.response->isAnswered());
    QCOMPARE(sent, json(R"({"a": 1})"));
    QCOMPARE(module.strategy.sentContexts().value(id), json(R"({"a": 1, "inbox": 2})"));
}

void TestControllerOrder::anAnswerOfARemovedContextIsNotLogged()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, {Request::Get, eventPath}).handle();
    Exchange exchange(module.strategy, {Request::Get, eventPath});
    exchange.handle();
    support::LogCapture log;
    module.contexts.removeContext(id);
    QCOMPARE(exchange.response->statuses(), QVector<int>{404});
    QCOMPARE(debugLines(log, eventCategory), QStringList());
}

void TestControllerOrder::aDeletedMessageEventIsLoggedToo()
{
    Module module;
    support::LogCapture log;
    const Exchange exchange(module.strategy, {Request::Delete, QStringLiteral("/message/event")});
    QVERIFY(exchange.isServed());
    QCOMPARE(debugLines(log, controllerCategory),
             QStringList{QStringLiteral("Received request matching message event polling URL")});
}

QTEST_GUILESS_MAIN(TestControllerOrder)
#include "tst_controllerorder.moc"
