#include "http/contexteventcontroller.h"

#include "modulefixture.h"

#include <QtCore/QPointer>
#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.eventcontroller");
const QString id = QStringLiteral("abc");
const FakeRequest poll(Request::Get, QStringLiteral("/context/abc/event"));

QStringList cacheHeaders()
{
    return {QStringLiteral("setHeader Cache-Control: no-cache, no-store, must-revalidate"),
            QStringLiteral("setHeader Pragma: no-cache"), QStringLiteral("setHeader Expires: 0")};
}

QStringList eventAnswer(const QJsonObject &context)
{
    return cacheHeaders() + jsonAnswer(200, printed(context));
}

QStringList removedAnswer()
{
    return cacheHeaders() + bareAnswer(404);
}

FakeRequest pollWith(const QString &prefer)
{
    return FakeRequest(poll).with(QStringLiteral("Prefer"), prefer);
}

} // namespace

class TestContextEventController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstGetOfAnExistingContextAnswersAtOnce();
    void theNextGetFromAnyClientWaitsForAChange();
    void aContextChangedSinceItWasSentAnswersAtOnce();
    void everyWaitingClientReceivesTheChangeInOrder();
    void aChangeOfAnotherContextDoesNotAnswer();
    void aChangeToTheSameValueDoesNotAnswer();
    void aContextThatDoesNotExistYetIsDeliveredWhenItIsCreated();
    void anEmptyContextCountsAsSentFromTheStart();
    void aContextThatIsNoObjectIsDeliveredAsAnEmptyOne();
    void waitsForAChangeThatCarriesTheItem();
    void theItemPlaysNoPartInTheComparison();
    void anItemThatTheChangedContextLacksIsNeverAnswered();
    void readsTheItem_data();
    void readsTheItem();
    void aPreferenceWithoutItemWaitsForAnyChange_data();
    void aPreferenceWithoutItemWaitsForAnyChange();
    void deletingTheContextAnswers404AndTheClientStaysRegistered();
    void settingTheContextToNullAnswers404();
    void anExpiredContextAnswers404();
    void deletingAnIdThatHoldsNothingKeepsTheClientWaiting();
    void aRemovedContextThatWasDeliveredAnswers404AtOnce();
    void aDeleteIsNeverAnswered();
    void anyMethodButGetIsNeverAnswered();
    void anAnsweredControllerDeletesItself();
    void aSecondChangeBeforeTheDeletionCountsAsUnsent();
    void theSlotIgnoresOtherIds();
    void theSlotIsASlot();
    void sentVersionsAreSharedAndKept();
    void pollingMarksTheContextAsUsed();
    void anEmptyIdThrows();
    void logsAnImmediateAnswer();
    void logsWaitingAndTheMissingItem();
    void logsTheItemOfADeleteOnly();
    void staysSmall();
};

void TestContextEventController::theFirstGetOfAnExistingContextAnswersAtOnce()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"a": 1})")));
}

void TestContextEventController::theNextGetFromAnyClientWaitsForAChange()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    Exchange second(module.strategy, poll);
    second.handle();
    QCOMPARE(second.calls(), QStringList());
    module.contexts.setContext(id, json(R"({"a": 2})"));
    QCOMPARE(second.calls(), eventAnswer(json(R"({"a": 2, "matchingItems": []})")));
}

void TestContextEventController::aContextChangedSinceItWasSentAnswersAtOnce()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    module.contexts.setContext(id, json(R"({"a": 1, "inbox": 2})"));
    Exchange second(module.strategy, poll);
    second.handle();
    QCOMPARE(second.calls(), eventAnswer(json(R"({"a": 1, "inbox": 2})")));
}

void TestContextEventController::everyWaitingClientReceivesTheChangeInOrder()
{
    Module module;
    std::vector<std::unique_ptr<Exchange>> exchanges;
    QVector<int> order;
    for (int i = 0; i < 5; ++i) {
        exchanges.push_back(std::make_unique<Exchange>(module.strategy, poll));
        exchanges.back()->response->onEnd = [&order, i] { order.append(i); };
        exchanges.back()->handle();
    }
    module.contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(order, (QVector<int>{0, 1, 2, 3, 4}));
    for (const auto &exchange : exchanges)
        QCOMPARE(exchange->calls(), eventAnswer(json(R"({"a": 1})")));
}

void TestContextEventController::aChangeOfAnotherContextDoesNotAnswer()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    module.contexts.setContext(QStringLiteral("abcd"), json(R"({"a": 1})"));
    module.contexts.setContext(QStringLiteral("ABC"), json(R"({"a": 1})"));
    QCOMPARE(exchange.calls(), QStringList());
    module.contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"a": 1})")));
}

void TestContextEventController::aChangeToTheSameValueDoesNotAnswer()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    Exchange second(module.strategy, poll);
    second.handle();
    module.contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(second.calls(), QStringList());
}

void TestContextEventController::aContextThatDoesNotExistYetIsDeliveredWhenItIsCreated()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    QCOMPARE(exchange.calls(), QStringList());
    QCOMPARE(module.strategy.sentContexts().value(id), QJsonObject());
    QVERIFY(module.strategy.sentContexts().contains(id));
    module.contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"a": 1})")));
}

void TestContextEventController::anEmptyContextCountsAsSentFromTheStart()
{
    Module module;
    module.contexts.setContext(id, QJsonObject());
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    QCOMPARE(exchange.calls(), QStringList());
    module.contexts.setContext(id, json(R"({"inbox": 1})"));
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"inbox": 1})")));
}

void TestContextEventController::aContextThatIsNoObjectIsDeliveredAsAnEmptyOne()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    module.contexts.setContext(id, QJsonArray{1});
    QCOMPARE(exchange.calls(), eventAnswer({}));
    QCOMPARE(exchange.response->body(), QByteArray("{\n}\n"));
}

void TestContextEventController::waitsForAChangeThatCarriesTheItem()
{
    Module module;
    Exchange exchange(module.strategy, pollWith(QStringLiteral("wait=$.patient")));
    exchange.handle();
    module.contexts.setContext(id, json(R"({"a": {"patient": 1}})"));
    module.contexts.setContext(id, json(R"({"Patient": 1})"));
    QCOMPARE(exchange.calls(), QStringList());
    module.contexts.setContext(id, json(R"({"patient": null})"));
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"patient": null, "matchingItems": []})")));
}

void TestContextEventController::theItemPlaysNoPartInTheComparison()
{
    Module module;
    module.contexts.setContext(id, json(R"({"patient": 1})"));
    Exchange(module.strategy, poll).handle();
    module.contexts.setContext(id, json(R"({"patient": 1, "inbox": 2})"));
    Exchange exchange(module.strategy, pollWith(QStringLiteral("wait=$.patient")));
    exchange.handle();
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"patient": 1, "inbox": 2})")));
}

void TestContextEventController::anItemThatTheChangedContextLacksIsNeverAnswered()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange exchange(module.strategy, pollWith(QStringLiteral("wait=$.patient")));
    exchange.handle();
    QCOMPARE(module.strategy.sentContexts().value(id), json(R"({"a": 1})"));
    module.contexts.setContext(id, json(R"({"patient": 1})"));
    QCOMPARE(exchange.calls(), QStringList());
    QVERIFY(exchange.isServed());
}

void TestContextEventController::readsTheItem_data()
{
    QTest::addColumn<QString>("prefer");
    QTest::addColumn<QString>("item");
    QTest::newRow("alone") << QStringLiteral("wait=$.patient") << QStringLiteral("patient");
    QTest::newRow("behind another preference")
        << QStringLiteral("respond-async, wait=$.patient") << QStringLiteral("patient");
    QTest::newRow("what follows belongs to it") << QStringLiteral("wait=$.patient, respond-async")
                                                << QStringLiteral("patient, respond-async");
    QTest::newRow("up to a second one")
        << QStringLiteral("wait=$.a,wait=$.b") << QStringLiteral("a,");
    QTest::newRow("up to the second of three")
        << QStringLiteral("wait=$.a,wait=$.b,wait=$.c") << QStringLiteral("a,");
    QTest::newRow("no path") << QStringLiteral("wait=$.a.b") << QStringLiteral("a.b");
}

void TestContextEventController::readsTheItem()
{
    QFETCH(QString, prefer);
    QFETCH(QString, item);
    Module module;
    support::LogCapture log;
    Exchange exchange(module.strategy, pollWith(prefer));
    exchange.handle();
    QCOMPARE(debugLines(log, category).value(0),
             QStringLiteral("Waiting for context item \"%1\"").arg(item));
    module.contexts.setContext(id, json(R"({"x": 1})"));
    QCOMPARE(exchange.calls(), QStringList());
    module.contexts.setContext(id, QJsonObject{{item, 1}});
    QCOMPARE(exchange.response->statuses(), QVector<int>{200});
}

void TestContextEventController::aPreferenceWithoutItemWaitsForAnyChange_data()
{
    QTest::addColumn<QString>("prefer");
    QTest::addColumn<QStringList>("said");
    const QStringList emptyItem{QStringLiteral("Waiting for context item \"\"")};
    QTest::newRow("a time-out") << QStringLiteral("wait=5") << QStringList();
    QTest::newRow("in capitals") << QStringLiteral("Wait=$.patient") << QStringList();
    QTest::newRow("with a blank") << QStringLiteral("wait= $.patient") << QStringList();
    QTest::newRow("an empty item") << QStringLiteral("wait=$.") << emptyItem;
    QTest::newRow("an empty item before another")
        << QStringLiteral("wait=$.wait=$.patient") << emptyItem;
}

void TestContextEventController::aPreferenceWithoutItemWaitsForAnyChange()
{
    QFETCH(QString, prefer);
    QFETCH(QStringList, said);
    Module module;
    support::LogCapture log;
    Exchange exchange(module.strategy, pollWith(prefer));
    exchange.handle();
    QCOMPARE(exchange.calls(), QStringList());
    const QStringList waiting{
        QStringLiteral("Accessing context \"abc\" ."),
        QStringLiteral("Current context has already been sent. Wait for change...")};
    QCOMPARE(debugLines(log, category), said + waiting);
    module.contexts.setContext(id, json(R"({"x": 1})"));
    QCOMPARE(exchange.response->statuses(), QVector<int>{200});
}

void TestContextEventController::deletingTheContextAnswers404AndTheClientStaysRegistered()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    Exchange(module.strategy, {Request::Delete, QStringLiteral("/context/abc")}).handle();
    QCOMPARE(exchange.calls(), removedAnswer());
    deleteDeferred();
    QVERIFY(exchange.isServed());

    module.contexts.setContext(id, json(R"({"b": 1})"));
    QCOMPARE(exchange.calls(), removedAnswer() + eventAnswer(json(R"({"b": 1})")));
}

void TestContextEventController::settingTheContextToNullAnswers404()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    module.contexts.setContext(id, QJsonValue::Null);
    QCOMPARE(exchange.calls(), removedAnswer());
}

void TestContextEventController::anExpiredContextAnswers404()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    Exchange exchange(module.strategy, pollWith(QStringLiteral("wait=$.patient")));
    exchange.handle();
    module.clock.advance(120000);
    module.contexts.collectGarbage(60000);
    QCOMPARE(exchange.calls(), removedAnswer());
}

void TestContextEventController::deletingAnIdThatHoldsNothingKeepsTheClientWaiting()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    Exchange(module.strategy, {Request::Delete, QStringLiteral("/context/abc")}).handle();
    QCOMPARE(exchange.calls(), QStringList());
    module.contexts.context(id);
    module.clock.advance(120000);
    module.contexts.collectGarbage(60000);
    QCOMPARE(module.contexts.contextIds(), QStringList());
    QCOMPARE(exchange.calls(), QStringList());
    module.contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"a": 1})")));
}

void TestContextEventController::aRemovedContextThatWasDeliveredAnswers404AtOnce()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    module.contexts.removeContext(id);
    Exchange first(module.strategy, poll);
    first.handle();
    QCOMPARE(first.calls(), removedAnswer());
    QCOMPARE(module.strategy.sentContexts().value(id), QJsonObject());
    Exchange second(module.strategy, poll);
    second.handle();
    QCOMPARE(second.calls(), QStringList());
    module.contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(second.calls(), eventAnswer(json(R"({"a": 1})")));
    QCOMPARE(first.calls(), removedAnswer()); // it never began to wait
}

void TestContextEventController::aDeleteIsNeverAnswered()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange exchange(module.strategy, {Request::Delete, QStringLiteral("/context/abc/event")});
    exchange.handle();
    module.contexts.setContext(id, json(R"({"a": 2})"));
    module.contexts.removeContext(id);
    QCOMPARE(exchange.calls(), QStringList());
    QVERIFY(module.strategy.sentContexts().isEmpty());
}

void TestContextEventController::anyMethodButGetIsNeverAnswered()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    for (const auto method : {Request::Head, Request::Post, Request::Put, Request::Unknown}) {
        ContextEventController controller(&module.strategy, &module.contexts, method, id);
        const auto response = std::make_shared<FakeResponse>();
        controller.setRequest(std::make_shared<FakeRequest>(method, poll.url()));
        controller.setResponse(response);
        controller.handle();
        module.contexts.setContext(id, QJsonObject{{QStringLiteral("a"), int(method)}});
        QCOMPARE(response->calls(), QStringList());
    }
    QVERIFY(module.strategy.sentContexts().isEmpty());
}

void TestContextEventController::anAnsweredControllerDeletesItself()
{
    Module module;
    Exchange waiting(module.strategy, poll);
    waiting.handle();
    deleteDeferred();
    QVERIFY(waiting.isServed());
    module.contexts.setContext(id, json(R"({"a": 1})"));
    QVERIFY(waiting.isServed());
    deleteDeferred();
    QVERIFY(!waiting.isServed());

    module.contexts.setContext(id, json(R"({"a": 2})"));
    Exchange immediate(module.strategy, poll);
    immediate.handle();
    deleteDeferred();
    QVERIFY(!immediate.isServed());
}

void TestContextEventController::aSecondChangeBeforeTheDeletionCountsAsUnsent()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    module.contexts.setContext(id, json(R"({"a": 1})"));
    module.contexts.setContext(id, json(R"({"a": 1, "inbox": 2})"));
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"a": 1})")));
    QCOMPARE(module.strategy.sentContexts().value(id), json(R"({"a": 1})"));
    Exchange next(module.strategy, poll);
    next.handle();
    QCOMPARE(next.calls(), eventAnswer(json(R"({"a": 1, "inbox": 2})")));
}

void TestContextEventController::theSlotIgnoresOtherIds()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    auto *controller = dynamic_cast<ContextEventController *>(exchange.controller());
    QVERIFY(controller);
    controller->onContextChanged(QStringLiteral("abcd"), json(R"({"a": 1})"));
    controller->onContextChanged(QStringLiteral("ABC"), QJsonValue::Null);
    QCOMPARE(exchange.calls(), QStringList());
    controller->onContextChanged(id, json(R"({"a": 1})"));
    QCOMPARE(exchange.calls(), eventAnswer(json(R"({"a": 1})")));
}

void TestContextEventController::theSlotIsASlot()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    auto *controller = dynamic_cast<QObject *>(exchange.controller());
    QVERIFY(controller);
    const int index = controller->metaObject()->indexOfSlot("onContextChanged(QString,QJsonValue)");
    QVERIFY(index >= 0);
    const QMetaMethod slot = controller->metaObject()->method(index);
    QVERIFY(
        slot.invoke(controller, Q_ARG(QString, id), Q_ARG(QJsonValue, QJsonValue(QJsonObject()))));
    QCOMPARE(exchange.calls(), eventAnswer({}));
}

void TestContextEventController::sentVersionsAreSharedAndKept()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    Exchange(module.strategy, poll).handle();
    QCOMPARE(module.strategy.sentContexts().keys(), QStringList{id});
    QCOMPARE(module.strategy.sentContexts().value(id), json(R"({"a": 1})"));
    Exchange(module.strategy, {Request::Get, QStringLiteral("/context/other/event")}).handle();
    module.contexts.removeContext(id);
    QCOMPARE(module.strategy.sentContexts().keys(), (QStringList{id, QStringLiteral("other")}));
    QCOMPARE(module.strategy.sentContexts().value(id), json(R"({"a": 1})"));
}

void TestContextEventController::pollingMarksTheContextAsUsed()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    module.clock.advance(120000);
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    module.contexts.collectGarbage(60000);
    QCOMPARE(module.contexts.contextIds(), QStringList{id});
}

void TestContextEventController::anEmptyIdThrows()
{
    Module module;
    ContextEventController controller(&module.strategy, &module.contexts, Request::Get, QString());
    QCOMPARE(thrownBy(controller), QStringLiteral("Context id required."));
}

void TestContextEventController::logsAnImmediateAnswer()
{
    Module module;
    module.contexts.setContext(id, json(R"({"a": 1})"));
    support::LogCapture log;
    Exchange(module.strategy, poll).handle();
    QCOMPARE(debugLines(log, category),
             (QStringList{QStringLiteral("Accessing context \"abc\" ."),
                          QStringLiteral("Context changed since last sent. Immediately return."),
                          QStringLiteral("Context changed. Return long polling.")}));
}

void TestContextEventController::logsWaitingAndTheMissingItem()
{
    Module module;
    support::LogCapture log;
    Exchange exchange(module.strategy, pollWith(QStringLiteral("wait=$.patient")));
    exchange.handle();
    module.contexts.setContext(id, json(R"({"a": 1})"));
    module.contexts.setContext(id, json(R"({"patient": 1})"));
    QCOMPARE(
        debugLines(log, category),
        (QStringList{QStringLiteral("Waiting for context item \"patient\""),
                     QStringLiteral("Accessing context \"abc\" ."),
                     QStringLiteral("Current context has already been sent. Wait for change..."),
                     QStringLiteral("Context changed but doesnt have the item we're waiting for "
                                    "\"patient\""),
                     QStringLiteral("Context changed. Return long polling.")}));
}

void TestContextEventController::logsTheItemOfADeleteOnly()
{
    Module module;
    support::LogCapture log;
    FakeRequest request(Request::Delete, QStringLiteral("/context/abc/event"));
    request.with(QStringLiteral("Prefer"), QStringLiteral("wait=$.a"));
    Exchange(module.strategy, request).handle();
    QCOMPARE(debugLines(log, category),
             QStringList{QStringLiteral("Waiting for context item \"a\"")});
}

void TestContextEventController::staysSmall()
{
    // Thousands wait at a time; each brings an id, and Qt's own part of some 120 bytes, besides.
    QVERIFY(sizeof(ContextEventController) <= 160);
}

QTEST_GUILESS_MAIN(TestContextEventController)
#include "tst_contexteventcontroller.moc"
