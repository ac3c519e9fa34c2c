#include "broker/brokermapping.h"

#include <QtCore/QJsonDocument>
#include <QtTest/QtTest>

using namespace host;

namespace {

QJsonObject json(const QByteArray &text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject())
        qFatal("no JSON object: %s", text.constData());
    return document.object();
}

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

const BrokerRouting routing{QStringLiteral("ws1"), QStringLiteral("events")};

} // namespace

class BrokerMappingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aMessageIsAChunk_data();
    void aMessageIsAChunk();
    void whatIsNoJsonObjectIsNoChunk_data();
    void whatIsNoJsonObjectIsNoChunk();
    void aChunkIsAMessage_data();
    void aChunkIsAMessage();
    void someChunksHaveNoWayToTheBroker_data();
    void someChunksHaveNoWayToTheBroker();
    void aReplyGoesToTheQueueOfTheRequest_data();
    void aReplyGoesToTheQueueOfTheRequest();
    void namesFitIntoTheirFields();
    void correlationIdsOfAnyKindBecomeText_data();
    void correlationIdsOfAnyKindBecomeText();
};

void BrokerMappingTest::aMessageIsAChunk_data()
{
    QTest::addColumn<QByteArray>("replyTo");
    QTest::addColumn<QByteArray>("correlationId");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("chunk");
    const QByteArray none;
    QTest::newRow("an empty object")
        << none << none << QByteArray("{}") << QByteArray(R"({"exchange":"x"})");
    QTest::newRow("the exchange is the one it was published to, whatever the body says")
        << none << none << QByteArray(R"({"exchange":"other","a":1})")
        << QByteArray(R"({"exchange":"x","a":1})");
    QTest::newRow("reply_to") << QByteArray("q") << none << QByteArray("{}")
                              << QByteArray(
                                     R"({"exchange":"x","properties":{"reply-to":"exchange:q"}})");
    QTest::newRow("direct reply-to")
        << QByteArray("amq.rabbitmq.reply-to.g1h2/AA==.x") << none << QByteArray("{}")
        << QByteArray(
               R"({"exchange":"x","properties":{"reply-to":"exchange:amq.rabbitmq.reply-to.g1h2/AA==.x"}})");
    QTest::newRow("correlation_id")
        << none << QByteArray("7") << QByteArray("{}")
        << QByteArray(R"({"exchange":"x","properties":{"correlation-id":"7"}})");
    QTest::newRow("an empty correlation_id is one")
        << none << QByteArray("") << QByteArray("{}")
        << QByteArray(R"({"exchange":"x","properties":{"correlation-id":""}})");
    QTest::newRow("an empty reply_to names no queue")
        << QByteArray("") << none << QByteArray("{}") << QByteArray(R"({"exchange":"x"})");
    QTest::newRow("both, over what the body has, other properties stay")
        << QByteArray("q") << QByteArray("c")
        << QByteArray(R"({"properties":{"reply-to":"exchange:z","correlation-id":3,"k":true}})")
        << QByteArray(
               R"({"exchange":"x","properties":{"reply-to":"exchange:q","correlation-id":"c","k":true}})");
    QTest::newRow("without either, the body's own properties count")
        << none << none
        << QByteArray(R"({"properties":{"reply-to":"exchange:z","correlation-id":3}})")
        << QByteArray(
               R"({"exchange":"x","properties":{"reply-to":"exchange:z","correlation-id":3}})");
    QTest::newRow("properties that are no object give way")
        << QByteArray("q") << none << QByteArray(R"({"properties":5})")
        << QByteArray(R"({"exchange":"x","properties":{"reply-to":"exchange:q"}})");
    QTest::newRow("blanks around, text beyond ASCII")
        << none << none << QByteArray(" {\"a\":\"\xc3\xa4\"}\r\n")
        << QByteArray("{\"exchange\":\"x\",\"a\":\"\xc3\xa4\"}");
}

void BrokerMappingTest::aMessageIsAChunk()
{
    QFETCH(QByteArray, replyTo);
    QFETCH(QByteArray, correlationId);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, chunk);
    QString fault;
    const auto read =
        chunkFromMessage({QByteArrayLiteral("x"), replyTo, correlationId, body}, &fault);
    QVERIFY2(read, qPrintable(fault));
    QCOMPARE(compact(*read), compact(json(chunk)));
}

void BrokerMappingTest::whatIsNoJsonObjectIsNoChunk_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("secret");
    QTest::newRow("a number") << QByteArray("17");
    QTest::newRow("null") << QByteArray("null");
    QTest::newRow("an array of objects") << QByteArray(R"([{"secret":1}])");
    QTest::newRow("an object without its end") << QByteArray(R"({"secret":1)");
    QTest::newRow("two objects") << QByteArray(R"({"secret":1}{})");
    QTest::newRow("bytes") << QByteArray("\xff\xfe\x00{", 4);
}

void BrokerMappingTest::whatIsNoJsonObjectIsNoChunk()
{
    QFETCH(QByteArray, body);
    QString fault;
    QVERIFY(!chunkFromMessage({QByteArrayLiteral("x"), {}, {}, body}, &fault));
    QVERIFY(!fault.isEmpty());
    QVERIFY(!fault.contains(QLatin1String("secret")));
}

void BrokerMappingTest::aChunkIsAMessage_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::addColumn<QByteArray>("exchange");
    QTest::addColumn<QByteArray>("key");
    QTest::newRow("an event without an exchange goes to the event exchange")
        << QByteArray(R"({"source":"s","data":{"event":"context-changed","id":"1"}})")
        << QByteArray("events") << QByteArray("ws1.context-changed");
    QTest::newRow("one with an exchange and no event has its name as the event")
        << QByteArray(R"({"exchange":"context-created","data":{"contextId":"1"}})")
        << QByteArray("context-created") << QByteArray("ws1.context-created");
    QTest::newRow("one with both") << QByteArray(R"({"exchange":"a","data":{"event":"b"}})")
                                   << QByteArray("a") << QByteArray("ws1.b");
    QTest::newRow("one with neither")
        << QByteArray(R"({"data":"text"})") << QByteArray("events") << QByteArray("ws1.events");
    QTest::newRow("an event that is no text is none")
        << QByteArray(R"({"exchange":"a","data":{"event":5}})") << QByteArray("a")
        << QByteArray("ws1.a");
    QTest::newRow("an empty event is none") << QByteArray(R"({"exchange":"a","data":{"event":""}})")
                                            << QByteArray("a") << QByteArray("ws1.a");
    QTest::newRow("an exchange that is no text is none")
        << QByteArray(R"({"exchange":5,"data":{"event":"e"}})") << QByteArray("events")
        << QByteArray("ws1.e");
}

void BrokerMappingTest::aChunkIsAMessage()
{
    QFETCH(QByteArray, chunk);
    QFETCH(QByteArray, exchange);
    QFETCH(QByteArray, key);
    QString fault;
    const auto message = messageFromChunk(json(chunk), routing, &fault);
    QVERIFY2(message, qPrintable(fault));
    QCOMPARE(message->exchange, exchange);
    QCOMPARE(message->routingKey, key);
    QVERIFY(message->correlationId.isNull());
    QCOMPARE(message->body, compact(json(chunk)));
}

void BrokerMappingTest::someChunksHaveNoWayToTheBroker_data()
{
    QTest::addColumn<QJsonObject>("chunk");
    QTest::newRow("a reply to a request without a place for it") << json(R"({"exchange":""})");
    QTest::newRow("an exchange longer than any on the broker")
        << QJsonObject{{QStringLiteral("exchange"), QString(256, QLatin1Char('x'))}};
}

void BrokerMappingTest::someChunksHaveNoWayToTheBroker()
{
    QFETCH(QJsonObject, chunk);
    QString fault;
    QVERIFY(!messageFromChunk(chunk, routing, &fault));
    QVERIFY(!fault.isEmpty());
}

void BrokerMappingTest::aReplyGoesToTheQueueOfTheRequest_data()
{
    QTest::addColumn<QByteArray>("asked");
    QTest::addColumn<QByteArray>("answered");
    QTest::newRow("the id of the request") << QByteArray("7") << QByteArray("7");
    QTest::newRow("bytes that are no text") << QByteArray("\xff\x01") << QByteArray("\xff\x01");
    QTest::newRow("an empty one") << QByteArray("") << QByteArray("");
    QTest::newRow("none: the id in the chunk") << QByteArray() << QByteArray("in-chunk");
}

void BrokerMappingTest::aReplyGoesToTheQueueOfTheRequest()
{
    QFETCH(QByteArray, asked);
    QFETCH(QByteArray, answered);
    const QJsonObject chunk =
        json(R"({"exchange":"q","properties":{"correlation-id":"in-chunk"},"body":{}})");
    const OutgoingMessage message = replyFromChunk(chunk, {QByteArrayLiteral("q"), asked});
    QCOMPARE(message.exchange, QByteArray());
    QCOMPARE(message.routingKey, QByteArray("q"));
    QCOMPARE(message.correlationId, answered);
    QCOMPARE(message.correlationId.isNull(), answered.isNull());
    QCOMPARE(message.body, compact(chunk));
}

void BrokerMappingTest::namesFitIntoTheirFields()
{
    QString fault;
    const QString event(200, QChar(0xe4)); // two bytes each
    const QJsonObject chunk{
        {QStringLiteral("data"), QJsonObject{{QStringLiteral("event"), event}}},
        {QStringLiteral("properties"),
         QJsonObject{{QStringLiteral("correlation-id"), QString(256, QLatin1Char('c'))}}}};
    const auto message = messageFromChunk(chunk, routing, &fault);
    QVERIFY(message);
    QVERIFY(message->routingKey.size() <= longestBrokerText);
    QVERIFY(message->routingKey.size() >= longestBrokerText - 1);
    QVERIFY(!QString::fromUtf8(message->routingKey).contains(QChar::ReplacementCharacter));
    QVERIFY2(message->correlationId.isNull(), "half an id would be another's");
}

void BrokerMappingTest::correlationIdsOfAnyKindBecomeText_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("text") << QByteArray(R"("a")") << QByteArray("a");
    QTest::newRow("empty text") << QByteArray(R"("")") << QByteArray("");
    QTest::newRow("number") << QByteArray("17") << QByteArray("17");
    QTest::newRow("boolean") << QByteArray("true") << QByteArray("true");
    QTest::newRow("object") << QByteArray(R"({"a":[1]})") << QByteArray(R"({"a":[1]})");
    QTest::newRow("null") << QByteArray("null") << QByteArray();
}

void BrokerMappingTest::correlationIdsOfAnyKindBecomeText()
{
    QFETCH(QByteArray, id);
    QFETCH(QByteArray, text);
    QString fault;
    const auto message = messageFromChunk(
        json(R"({"exchange":"a","properties":{"correlation-id":)" + id + "}}"), routing, &fault);
    QVERIFY(message);
    QCOMPARE(message->correlationId, text);
    QCOMPARE(message->correlationId.isNull(), text.isNull());
}

QTEST_APPLESS_MAIN(BrokerMappingTest)
#include "tst_brokermapping.moc"
