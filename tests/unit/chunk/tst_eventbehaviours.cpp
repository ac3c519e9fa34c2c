#include "chunk/addmessagesbehaviour.h"
#include "chunk/newcontextbehaviour.h"
#include "chunkfixture.h"

#include <QtTest/QtTest>

class tst_EventBehaviours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newContextIsStoredUnderAFreshId();
    void newContextNeedsNoExchange();
    void newContextChunkIsTraced();
    void otherChunksCreateNothing_data();
    void otherChunksCreateNothing();
    void messagesAreAddedInOrder();
    void messageChunkIsTracedBeforeItsMessages();
    void allMessagesAreReadBeforeTheFirstIsAdded();
    void invalidMessagesAreLeftOut();
    void otherChunksAddNoMessage_data();
    void otherChunksAddNoMessage();
};

void tst_EventBehaviours::newContextIsStoredUnderAFreshId()
{
    Stores stores;
    NewContextBehaviour(&stores.contexts)
        .handle(json(R"({"exchange":"any","data":{"event":"new-context",
                         "data":{"_id":"abc","patient":{"id":"7"}}}})"));
    const QStringList ids = stores.contexts.contextIds();
    QCOMPARE(ids.size(), 1);
    QVERIFY(ids.first() != latin1("abc"));
    const QJsonObject stored{{latin1("_id"), ids.first()},
                             {latin1("patient"), json(R"({"id":"7"})")}};
    QCOMPARE(stores.contexts.context(ids.first()), QJsonValue(stored));
    QCOMPARE(stores.publisher.chunks().size(), 2); // created, then changed; no reply
    QCOMPARE(stores.publisher.on(latin1("context-created")).size(), 1);
    QCOMPARE(stores.publisher.last().value(latin1("data")).toObject().value(latin1("event")),
             QJsonValue(latin1("context-changed")));
}

void tst_EventBehaviours::newContextNeedsNoExchange()
{
    Stores stores;
    NewContextBehaviour(&stores.contexts)
        .handle(json(R"({"data":{"event":"new-context","data":{}}})"));
    QCOMPARE(stores.contexts.contextIds().size(), 1);
}

void tst_EventBehaviours::newContextChunkIsTraced()
{
    Stores stores;
    support::LogCapture log;
    NewContextBehaviour(&stores.contexts)
        .handle(json(R"({"data":{"event":"new-context","data":{}}})"));
    const QVector<support::LogLine> expected{
        {QtDebugMsg, latin1("ch.brenlo.kavo-service.context.newcontextbehaviour"),
         latin1("Received new context chunk:  QJsonValue(object, "
                "QJsonObject({\"data\":{\"data\":{},\"event\":\"new-context\"}}))")}};
    QCOMPARE(log.lines(latin1("ch.brenlo.kavo-service.context.newcontextbehaviour")), expected);
    QCOMPARE(log.lines().first(), expected.first());
}

void tst_EventBehaviours::otherChunksCreateNothing_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::newRow("context is a text") << json(R"({"data":{"event":"new-context","data":"text"}})");
    QTest::newRow("context is null") << json(R"({"data":{"event":"new-context","data":null}})");
    QTest::newRow("context is an array") << json(R"({"data":{"event":"new-context","data":[]}})");
    QTest::newRow("no context") << json(R"({"data":{"event":"new-context"}})");
    QTest::newRow("other event") << json(R"({"data":{"event":"New-context","data":{}}})");
    QTest::newRow("event is no text") << json(R"({"data":{"event":["new-context"],"data":{}}})");
    QTest::newRow("no event") << json(R"({"data":{"data":{}}})");
    QTest::newRow("data is an array") << json(R"({"data":[{"event":"new-context","data":{}}]})");
    QTest::newRow("no data") << json(R"({"event":"new-context"})");
    QTest::newRow("array") << json(R"([{"data":{"event":"new-context","data":{}}}])");
    QTest::newRow("null") << QJsonValue();
}

void tst_EventBehaviours::otherChunksCreateNothing()
{
    QFETCH(QJsonValue, chunk);
    Stores stores;
    support::LogCapture log;
    NewContextBehaviour(&stores.contexts).handle(chunk);
    QVERIFY(stores.contexts.contextIds().isEmpty());
    QVERIFY(stores.publisher.chunks().isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_EventBehaviours::messagesAreAddedInOrder()
{
    Stores stores;
    QVector<QByteArray> states;
    QObject::connect(&stores.messages, &MessageService::messagesAvailable, &stores.messages,
                     [&] { states.append(stores.messages.messagesDocument().toJson()); });
    AddMessagesBehaviour(&stores.messages)
        .handle(json(R"({"exchange":"kavo-context-add-messages","messages":[
            {"id":"1","title":"first","text":"x"},{"id":"1","title":"second","text":"x"}]})"));
    QCOMPARE(states.size(), 2);
    QVERIFY(states.first().contains("first"));
    QVERIFY(states.last().contains("second"));
}

void tst_EventBehaviours::messageChunkIsTracedBeforeItsMessages()
{
    Stores stores;
    support::LogCapture log;
    AddMessagesBehaviour(&stores.messages)
        .handle(json(R"({"exchange":"kavo-context-add-messages","messages":[
            {"id":"1","title":"t","text":"x"}]})"));
    const QVector<support::LogLine> expected{
        {QtDebugMsg, latin1("ch.brenlo.kavo-service.context.addmessagesbehaviour"),
         latin1("Chunk received")},
        {QtDebugMsg, latin1("ch.brenlo.kavo-service.context.messageservice"),
         latin1("Adding message with title  \"t\"")}};
    QCOMPARE(log.lines(), expected);
}

void tst_EventBehaviours::allMessagesAreReadBeforeTheFirstIsAdded()
{
    Stores stores;
    support::LogCapture log;
    AddMessagesBehaviour(&stores.messages)
        .handle(json(R"({"exchange":"kavo-context-add-messages","messages":[
            {"id":"1","title":"a","text":"x","timestamp":"soon"},
            {"id":"2","title":"b","text":"x","timestamp":"later"}]})"));
    QStringList texts;
    for (const support::LogLine &line : log.lines())
        texts << line.message;
    const QStringList expected{latin1("Chunk received"),
                               latin1("Unexpected invalid date format found in string:  \"soon\""),
                               latin1("Unexpected invalid date format found in string:  \"later\""),
                               latin1("Adding message with title  \"a\""),
                               latin1("Adding message with title  \"b\"")};
    QCOMPARE(texts, expected);
}

void tst_EventBehaviours::invalidMessagesAreLeftOut()
{
    Stores stores;
    AddMessagesBehaviour(&stores.messages)
        .handle(json(R"({"exchange":"kavo-context-add-messages","messages":[5,
            {"id":"1","title":7,"text":"x"},{"id":"2","title":"t","text":"x"}]})"));
    const QJsonArray stored = stores.messages.messagesDocument().array();
    QCOMPARE(stored.size(), 1);
    QCOMPARE(stored.first().toObject().value(latin1("id")), QJsonValue(latin1("2")));
}

void tst_EventBehaviours::otherChunksAddNoMessage_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::newRow("other exchange")
        << json(R"({"exchange":"other","messages":[{"id":"1","title":"t","text":"x"}]})");
    QTest::newRow("messages in the body") << json(R"({"exchange":"kavo-context-add-messages",
        "body":{"messages":[{"id":"1","title":"t","text":"x"}]}})");
    QTest::newRow("messages are no array") << json(R"({"exchange":"kavo-context-add-messages",
        "messages":{"id":"1","title":"t","text":"x"}})");
    QTest::newRow("array") << json("[]");
}

void tst_EventBehaviours::otherChunksAddNoMessage()
{
    QFETCH(QJsonValue, chunk);
    Stores stores;
    support::LogCapture log;
    AddMessagesBehaviour(&stores.messages).handle(chunk);
    QVERIFY(!stores.messages.hasMessages());
    QVERIFY(log.lines(latin1("ch.brenlo.kavo-service.context.addmessagesbehaviour")).isEmpty());
}

QTEST_GUILESS_MAIN(tst_EventBehaviours)
#include "tst_eventbehaviours.moc"
