#include "chunk/chunkenvelope.h"
#include "chunkfixture.h"

#include <QtTest/QtTest>

class tst_ChunkEnvelope : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchangeIsComparedExactly_data();
    void exchangeIsComparedExactly();
    void bodyReadsLeniently_data();
    void bodyReadsLeniently();
    void sourceIsTheMemberAsItStands();
    void replyGoesToTheQueueBehindTheNineCharacters_data();
    void replyGoesToTheQueueBehindTheNineCharacters();
    void replyRepeatsTheCorrelationIdUnchanged_data();
    void replyRepeatsTheCorrelationIdUnchanged();
    void replyHoldsThreeMembersAndItsPropertiesOne();
};

void tst_ChunkEnvelope::exchangeIsComparedExactly_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::addColumn<bool>("isOn");
    QTest::newRow("same") << json(R"({"exchange":"kavo"})") << true;
    QTest::newRow("other case") << json(R"({"exchange":"Kavo"})") << false;
    QTest::newRow("longer") << json(R"({"exchange":"kavo "})") << false;
    QTest::newRow("number") << json(R"({"exchange":1})") << false;
    QTest::newRow("missing") << json(R"({"body":{}})") << false;
    QTest::newRow("array chunk") << json(R"(["kavo"])") << false;
    QTest::newRow("text chunk") << QJsonValue(latin1("kavo")) << false;
    QTest::newRow("null chunk") << QJsonValue() << false;
    QTest::newRow("undefined chunk") << QJsonValue(QJsonValue::Undefined) << false;
}

void tst_ChunkEnvelope::exchangeIsComparedExactly()
{
    QFETCH(QJsonValue, chunk);
    QTEST(ChunkEnvelope(chunk).isOn(latin1("kavo")), "isOn");
}

void tst_ChunkEnvelope::bodyReadsLeniently_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::addColumn<QJsonValue>("body");
    QTest::newRow("object") << json(R"({"body":{"a":1}})") << json(R"({"a":1})");
    QTest::newRow("missing") << json("{}") << json("{}");
    QTest::newRow("array") << json(R"({"body":[1]})") << json("{}");
    QTest::newRow("text") << json(R"({"body":"{}"})") << json("{}");
    QTest::newRow("no object chunk") << json("[]") << json("{}");
}

void tst_ChunkEnvelope::bodyReadsLeniently()
{
    QFETCH(QJsonValue, chunk);
    QFETCH(QJsonValue, body);
    QCOMPARE(QJsonValue(ChunkEnvelope(chunk).body()), body);
}

void tst_ChunkEnvelope::sourceIsTheMemberAsItStands()
{
    QCOMPARE(ChunkEnvelope(json(R"({"source":[7]})")).source(), json("[7]"));
    QVERIFY(ChunkEnvelope(json("{}")).source().isUndefined());
}

void tst_ChunkEnvelope::replyGoesToTheQueueBehindTheNineCharacters_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::addColumn<QString>("exchange");
    const auto request = [](const char *replyTo) {
        return json(QByteArray(R"({"properties":{"reply-to":)") + replyTo + "}}");
    };
    QTest::newRow("prefix and queue") << request(R"("exchange:my-queue")") << latin1("my-queue");
    QTest::newRow("any nine characters") << request(R"("123456789q")") << latin1("q");
    QTest::newRow("nine characters") << request(R"("123456789")") << latin1("");
    QTest::newRow("shorter") << request(R"("abc")") << latin1("");
    QTest::newRow("empty") << request(R"("")") << latin1("");
    QTest::newRow("number") << request("1234567890123") << latin1("");
    QTest::newRow("missing reply-to") << json(R"({"properties":{}})") << latin1("");
    QTest::newRow("missing properties") << json("{}") << latin1("");
}

void tst_ChunkEnvelope::replyGoesToTheQueueBehindTheNineCharacters()
{
    QFETCH(QJsonValue, chunk);
    QFETCH(QString, exchange);
    QCOMPARE(ChunkEnvelope(chunk).reply(QJsonObject()).value(latin1("exchange")),
             QJsonValue(exchange));
}

void tst_ChunkEnvelope::replyRepeatsTheCorrelationIdUnchanged_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::addColumn<QJsonValue>("properties");
    const auto row = [](const char *name, const QByteArray &id) {
        QTest::newRow(name) << json("{\"properties\":{\"x\":1,\"correlation-id\":" + id + "}}")
                            << json("{\"correlation-id\":" + id + "}");
    };
    row("text", "\"a\"");
    row("number", "17");
    row("object", R"({"a":[1]})");
    row("null", "null");
    QTest::newRow("missing becomes null")
        << json(R"({"properties":{}})") << json(R"({"correlation-id":null})");
    QTest::newRow("missing properties become null")
        << json("{}") << json(R"({"correlation-id":null})");
}

void tst_ChunkEnvelope::replyRepeatsTheCorrelationIdUnchanged()
{
    QFETCH(QJsonValue, chunk);
    QFETCH(QJsonValue, properties);
    QCOMPARE(ChunkEnvelope(chunk).reply(QJsonObject()).value(latin1("properties")), properties);
}

void tst_ChunkEnvelope::replyHoldsThreeMembersAndItsPropertiesOne()
{
    const QJsonValue request = json(R"({"exchange":"e","source":"s","data":1,"body":{"b":1},
        "properties":{"reply-to":"exchange:q","correlation-id":"c","type":"t"}})");
    QCOMPARE(QJsonValue(ChunkEnvelope(request).reply(json("[1,2]"))),
             json(R"({"exchange":"q","properties":{"correlation-id":"c"},"body":[1,2]})"));
}

QTEST_GUILESS_MAIN(tst_ChunkEnvelope)
#include "tst_chunkenvelope.moc"
