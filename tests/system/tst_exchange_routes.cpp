#include "exchangehost.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtTest/QTest>

using namespace support;

/// The embedded exchange: chunks handed over with POST, and followed on the event stream.
class ExchangeRoutesTest : public QObject, private ExchangeHost
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(startHost()); }
    void cleanup() { endHost(); }

    void objectIsDelivered();
    void arrayIsDeliveredInOrder();
    void emptyArrayDeliversNothing();
    void otherBodiesAre400AndNothingIsDelivered_data();
    void otherBodiesAre400AndNothingIsDelivered();

    void streamBeginsWithAComment();
    void eventsAreWrittenAsDocumented();
    void idsGrowByOne();
    void onlyNarrowsTheStream();
    void faultyQueriesAre400_data();
    void faultyQueriesAre400();
    void headOfTheStreamEnds();
    void deliveredComesBeforeWhatItCaused();
    void replyIsFoundUnderTheNameThatTheRequesterChose();
    void chunksForOtherServicesPassBy();
};

void ExchangeRoutesTest::objectIsDelivered()
{
    const HttpResponse response = m_client->exchange(
        "POST", "/exchange/chunks", {},
        "{\"exchange\":\"kavo-context-rpc-set\",\"body\":{\"_id\":\"abc\",\"a\":1}}");
    QCOMPARE(response.status, 202);
    QCOMPARE(response.field("Content-Type"), QByteArray("application/json"));
    QCOMPARE(response.json(), (QJsonObject{{QStringLiteral("delivered"), 1}}));
    QCOMPARE(m_client->exchange("GET", "/context/abc").json(),
             (QJsonObject{{QStringLiteral("a"), 1}}));
}

void ExchangeRoutesTest::arrayIsDeliveredInOrder()
{
    EventStream stream(m_host->port());
    QCOMPARE(post(arrayOf(100)), 100);
    for (int i = 0; i < 100; ++i)
        QCOMPARE(numberIn(stream.next()), i);
}

void ExchangeRoutesTest::emptyArrayDeliversNothing()
{
    EventStream stream(m_host->port());
    QCOMPARE(post("[]"), 0);
    QCOMPARE(post(numbered(7)), 1);
    QCOMPARE(numberIn(stream.next()), 7);
}

void ExchangeRoutesTest::otherBodiesAre400AndNothingIsDelivered_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("offset");
    QTest::newRow("no bytes") << QByteArray("") << 0;
    QTest::newRow("text") << QByteArray("nonsense") << 0;
    QTest::newRow("a number") << QByteArray("1") << 0;
    QTest::newRow("an object cut short") << QByteArray("{\"a\":1") << 6;
    QTest::newRow("an array cut short") << QByteArray("[{\"a\":1},{\"a\":2}") << 16;
    QTest::newRow("two objects") << QByteArray("{\"a\":1}{\"a\":2}") << 7;
    QTest::newRow("a number in an array") << QByteArray("[{\"a\":1}, 17]") << 10;
    QTest::newRow("an array in an array") << QByteArray("[ [{}]]") << 2;
    QTest::newRow("null in an array") << QByteArray("[{\"a\":\"],\"},null]") << 12;
}

void ExchangeRoutesTest::otherBodiesAre400AndNothingIsDelivered()
{
    QFETCH(QByteArray, body);
    QFETCH(int, offset);
    EventStream stream(m_host->port());
    const HttpResponse response = m_client->exchange("POST", "/exchange/chunks", {}, body);
    QCOMPARE(response.status, 400);
    QVERIFY(response.field("Content-Type").startsWith("text/plain"));
    const QByteArray place = "offset " + QByteArray::number(offset);
    QVERIFY2(response.body.contains(place + ' ') || response.body.contains(place + '\n'),
             response.body.constData());
    QCOMPARE(post(numbered(7)), 1);
    QCOMPARE(numberIn(stream.next()), 7);
}

void ExchangeRoutesTest::streamBeginsWithAComment()
{
    const EventStream stream(m_host->port());
    QCOMPARE(stream.head().status, 200);
    QCOMPARE(stream.head().field("Content-Type"), QByteArray("text/event-stream"));
    QCOMPARE(stream.head().field("Transfer-Encoding"), QByteArray("chunked"));
    QCOMPARE(stream.head().count("Content-Length"), 0);
    QVERIFY(stream.head().field("Cache-Control").contains("no-"));
}

void ExchangeRoutesTest::eventsAreWrittenAsDocumented()
{
    EventStream stream(m_host->port());
    QCOMPARE(post("{ \"b\" : [1, \"\\u00e4\\n\"], \"a\": {} }"), 1);
    QCOMPARE(m_client->exchange("DELETE", "/context/nobody").status, 404);
    const QByteArray delivered = stream.nextBlock();
    const QByteArray published = stream.nextBlock();
    const qint64 id = delivered.mid(4, delivered.indexOf('\n') - 4).toLongLong();
    QVERIFY(id > 0);
    QCOMPARE(delivered, "id: " + QByteArray::number(id) +
                            "\nevent: delivered\n"
                            "data: {\"a\":{},\"b\":[1,\"\xc3\xa4\\n\"]}");
    QCOMPARE(published, "id: " + QByteArray::number(id + 1) +
                            "\nevent: published\n"
                            "data: {\"data\":{\"contextId\":\"nobody\"},"
                            "\"exchange\":\"context-removed\"}");
}

void ExchangeRoutesTest::idsGrowByOne()
{
    EventStream stream(m_host->port());
    QCOMPARE(post(arrayOf(10)), 10);
    const qint64 first = stream.next().id.toLongLong();
    for (int i = 1; i < 10; ++i)
        QCOMPARE(stream.next().id.toLongLong(), first + i);
}

void ExchangeRoutesTest::onlyNarrowsTheStream()
{
    EventStream published(m_host->port(), "?only=published");
    EventStream delivered(m_host->port(), "?only=delivered");
    QCOMPARE(post(numbered(1)), 1);
    QCOMPARE(m_client->exchange("DELETE", "/context/nobody").status, 404);
    QCOMPARE(post(numbered(2)), 1);
    QCOMPARE(m_client->exchange("DELETE", "/context/nobody").status, 404);
    for (int i = 1; i <= 2; ++i) {
        const StreamEvent out = published.next();
        QCOMPARE(out.event, QByteArray("published"));
        QCOMPARE(exchangeOf(out), QStringLiteral("context-removed"));
        const StreamEvent in = delivered.next();
        QCOMPARE(in.event, QByteArray("delivered"));
        QCOMPARE(numberIn(in), i);
    }
}

void ExchangeRoutesTest::faultyQueriesAre400_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<HttpFields>("fields");
    QTest::newRow("another kind") << QByteArray("?only=both") << HttpFields{};
    QTest::newRow("no kind") << QByteArray("?only=") << HttpFields{};
    QTest::newRow("two kinds") << QByteArray("?only=published&only=delivered") << HttpFields{};
    QTest::newRow("an id that is no number") << QByteArray("?from=x") << HttpFields{};
    QTest::newRow("an id below zero") << QByteArray("?from=-1") << HttpFields{};
    QTest::newRow("a header that is no number")
        << QByteArray("") << HttpFields{{"Last-Event-ID", "x"}};
}

void ExchangeRoutesTest::faultyQueriesAre400()
{
    QFETCH(QByteArray, query);
    QFETCH(HttpFields, fields);
    const HttpResponse response = m_client->exchange("GET", "/exchange/chunks" + query, fields);
    QCOMPARE(response.status, 400);
    QVERIFY(response.field("Content-Type").startsWith("text/plain"));
    QCOMPARE(response.body.count('\n'), 1);
}

void ExchangeRoutesTest::headOfTheStreamEnds()
{
    QCOMPARE(m_client->exchange("HEAD", "/exchange/chunks").status, 200);
    QCOMPARE(m_client->exchange("GET", "/health").status, 200);
}

void ExchangeRoutesTest::deliveredComesBeforeWhatItCaused()
{
    EventStream stream(m_host->port());
    QCOMPARE(post("{\"exchange\":\"kavo-context-rpc-create\",\"body\":{\"a\":1},\"properties\":"
                  "{\"reply-to\":\"exchange:mine\",\"correlation-id\":\"c1\"}}"),
             1);
    const StreamEvent delivered = stream.next();
    QCOMPARE(delivered.event, QByteArray("delivered"));
    QCOMPARE(exchangeOf(delivered), QStringLiteral("kavo-context-rpc-create"));
    const StreamEvent created = stream.next();
    QCOMPARE(created.event, QByteArray("published"));
    QCOMPARE(exchangeOf(created), QStringLiteral("context-created"));
    const QJsonObject changed = stream.next().json();
    QVERIFY(!changed.contains(QLatin1String("exchange")));
    QCOMPARE(changed.value(QLatin1String("source")).toString(),
             QStringLiteral("z9-plugin-context"));
    QCOMPARE(exchangeOf(stream.next()), QStringLiteral("mine"));
}

void ExchangeRoutesTest::replyIsFoundUnderTheNameThatTheRequesterChose()
{
    EventStream stream(m_host->port(), "?only=published");
    QCOMPARE(post("{\"exchange\":\"kavo-context-rpc-update\",\"body\":{\"_id\":\"*\",\"a\":1},"
                  "\"properties\":{\"reply-to\":\"exchange:ward3.7\",\"correlation-id\":"
                  "{\"any\":[\"value\"]}}}"),
             1);
    const QJsonObject reply = stream.next().json();
    QCOMPARE(reply, QJsonDocument::fromJson("{\"exchange\":\"ward3.7\",\"properties\":"
                                            "{\"correlation-id\":{\"any\":[\"value\"]}},"
                                            "\"body\":{\"a\":1}}")
                        .object());
}

void ExchangeRoutesTest::chunksForOtherServicesPassBy()
{
    EventStream stream(m_host->port());
    QCOMPARE(post("[{},{\"exchange\":7},{\"source\":\"kavo\",\"data\":[]}]"), 3);
    QCOMPARE(stream.next().data, QByteArray("{}"));
    QCOMPARE(stream.next().data, QByteArray("{\"exchange\":7}"));
    QCOMPARE(stream.next().event, QByteArray("delivered"));
}

QTEST_GUILESS_MAIN(ExchangeRoutesTest)
#include "tst_exchange_routes.moc"
