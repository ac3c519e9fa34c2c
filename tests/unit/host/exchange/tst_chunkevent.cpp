#include "exchange/chunkevent.h"
#include "exchange/jsonsize.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtTest/QtTest>

using namespace host;

class ChunkEventTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anEventIsItsIdItsDirectionAndOneLineOfJson();
    void lineEndsInAChunkStayInsideItsLine();
    void theTextIsMadeOnceAndShared();
    void theGapCountsOrSaysNull();
    void commentsAreComments();
    void theEstimateIsNeverTooSmall_data();
    void theEstimateIsNeverTooSmall();
    void theEstimateOfPlainTextIsExact();
    void countingStopsSoonAfterEnough();
};

void ChunkEventTest::anEventIsItsIdItsDirectionAndOneLineOfJson()
{
    const QJsonObject chunk{{QStringLiteral("exchange"), QStringLiteral("context-created")}};
    QCOMPARE(ChunkEvent(17, Direction::Published, chunk).text(),
             QByteArray("id: 17\nevent: published\n"
                        "data: {\"exchange\":\"context-created\"}\n\n"));
    QCOMPARE(ChunkEvent(18, Direction::Delivered, QJsonObject()).text(),
             QByteArray("id: 18\nevent: delivered\ndata: {}\n\n"));
}

void ChunkEventTest::lineEndsInAChunkStayInsideItsLine()
{
    const QJsonObject chunk{{QStringLiteral("a\nb"), QStringLiteral("c\r\nd\n\ne")}};
    const QByteArray text = ChunkEvent(1, Direction::Published, chunk).text();
    QCOMPARE(text.count('\n'), 4);
    QCOMPARE(text.count('\r'), 0);
}

void ChunkEventTest::theTextIsMadeOnceAndShared()
{
    const ChunkEvent event(1, Direction::Published, {{QStringLiteral("a"), 1}});
    const QByteArray first = event.text();
    const QByteArray second = event.text();
    QVERIFY(first.constData() == second.constData());
    QCOMPARE(event.size(), qint64(first.size()));
}

void ChunkEventTest::theGapCountsOrSaysNull()
{
    QCOMPARE(gapText(3), QByteArray("event: gap\ndata: {\"missed\":3}\n\n"));
    QCOMPARE(gapText(std::nullopt), QByteArray("event: gap\ndata: {\"missed\":null}\n\n"));
}

void ChunkEventTest::commentsAreComments()
{
    QCOMPARE(connectedText(), QByteArray(": connected\n\n"));
    QVERIFY(heartbeatText().startsWith(": "));
    QVERIFY(heartbeatText().endsWith("\n\n"));
}

void ChunkEventTest::theEstimateIsNeverTooSmall_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty") << QByteArray("{}");
    QTest::newRow("literals") << QByteArray(R"({"a":true,"b":false,"c":null})");
    QTest::newRow("long numbers") << QByteArray(
        R"({"a":-2.2250738585072014e-308,"b":1234567890123456789,"c":-0.1,"d":1e300})");
    QTest::newRow("escapes") << QByteArray(R"({"\u0001\"\\":"\b\f\n\r\t\u001f\"\\"})");
    QTest::newRow("beyond ASCII") << QByteArray("{\"\xc3\xa9\":\"\xe2\x82\xac \xf0\x9f\x98\x80\"}");
    QTest::newRow("lone surrogate") << QByteArray(R"({"a":"\ud800"})");
    QTest::newRow("nested") << QByteArray(R"({"a":[[],{},[{"b":[1,2,3]}]],"c":{"d":{"e":[""]}}})");
}

void ChunkEventTest::theEstimateIsNeverTooSmall()
{
    QFETCH(QByteArray, json);
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    const QByteArray printed = QJsonDocument(object).toJson(QJsonDocument::Compact);
    QVERIFY(jsonSizeAtMost(object, 1000000) >= printed.size());
    const ChunkEvent event(std::numeric_limits<qint64>::max(), Direction::Delivered, object);
    const qint64 estimate = event.size();
    QVERIFY(estimate >= event.text().size());
}

void ChunkEventTest::theEstimateOfPlainTextIsExact()
{
    const QJsonObject object{
        {QStringLiteral("key"), QStringLiteral("some \"text\"\\")},
        {QStringLiteral("list"), QJsonArray{QStringLiteral("a"), QStringLiteral("b")}}};
    const QByteArray printed = QJsonDocument(object).toJson(QJsonDocument::Compact);
    QCOMPARE(jsonSizeAtMost(object, 1000000), qint64(printed.size() + 2)); // a comma too many each
}

void ChunkEventTest::countingStopsSoonAfterEnough()
{
    QJsonArray many;
    for (int i = 0; i < 10000; ++i)
        many.append(QStringLiteral("0123456789"));
    const qint64 counted = jsonSizeAtMost({{QStringLiteral("a"), many}}, 100);
    QVERIFY(counted > 100);
    QVERIFY(counted < 200);
}

QTEST_APPLESS_MAIN(ChunkEventTest)
#include "tst_chunkevent.moc"
