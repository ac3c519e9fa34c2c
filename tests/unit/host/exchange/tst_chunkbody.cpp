#include "exchange/chunkbody.h"

#include <QtTest/QtTest>

using namespace host;

class ChunkBodyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anObjectIsOneChunk();
    void anArrayIsItsObjectsInOrder();
    void anEmptyArrayIsNoChunk();
    void aDeeplyNestedBodyIsRefused();
    void anythingElseIsRefusedWithItsOffset_data();
    void anythingElseIsRefusedWithItsOffset();
};

void ChunkBodyTest::anObjectIsOneChunk()
{
    QString error;
    const auto chunks = readChunkBody(R"( {"exchange":"a","body":{}} )", &error);
    QVERIFY(chunks);
    QCOMPARE(chunks->size(), 1);
    QCOMPARE(chunks->first().value(QStringLiteral("exchange")).toString(), QStringLiteral("a"));
    QVERIFY(error.isEmpty());
}

void ChunkBodyTest::anArrayIsItsObjectsInOrder()
{
    QString error;
    const auto chunks = readChunkBody(R"([{"n":1},{"n":2},{"n":3}])", &error);
    QVERIFY(chunks);
    QCOMPARE(chunks->size(), 3);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(chunks->at(i).value(QStringLiteral("n")).toInt(), i + 1);
}

void ChunkBodyTest::anEmptyArrayIsNoChunk()
{
    QString error;
    const auto chunks = readChunkBody("[ ]", &error);
    QVERIFY(chunks);
    QVERIFY(chunks->isEmpty());
}

void ChunkBodyTest::aDeeplyNestedBodyIsRefused()
{
    QString error;
    QVERIFY(!readChunkBody(QByteArray(100000, '['), &error));
    QVERIFY(error.contains(QStringLiteral("at offset 1025")));
}

void ChunkBodyTest::anythingElseIsRefusedWithItsOffset_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("piece");
    QTest::addColumn<int>("offset");
    const QString wrong = QStringLiteral("Not a JSON object or an array of objects");
    QTest::newRow("nothing") << QByteArray() << wrong << 0;
    QTest::newRow("blanks") << QByteArray(" \r\n\t") << wrong << 4;
    QTest::newRow("a scalar") << QByteArray("17") << wrong << 0;
    QTest::newRow("a text behind blanks") << QByteArray("  \"{}\"") << wrong << 2;
    QTest::newRow("not JSON") << QByteArray("{\"a\":x}") << wrong << 5;
    QTest::newRow("garbage behind") << QByteArray("{\"a\":1}}") << wrong << 7;
    QTest::newRow("not UTF-8") << QByteArray("{\"a\":\"\xff\"}") << wrong << 6;
    QTest::newRow("a number in the list")
        << QByteArray("[{}, 7]") << QStringLiteral("Element 1 at offset 5 is a number") << 5;
    QTest::newRow("a string first") << QByteArray(" [ \"a,b\", {}]")
                                    << QStringLiteral("Element 0 at offset 3 is a string") << 3;
    QTest::newRow("a list in the list")
        << QByteArray("[{\"a\":[1,2]},[{}]]")
        << QStringLiteral("Element 1 at offset 13 is an array") << 13;
    QTest::newRow("null behind a tricky text")
        << QByteArray("[{\"a\\\"],\":\"}\\\\\"},\n null]")
        << QStringLiteral("Element 1 at offset 19 is null") << 19;
    QTest::newRow("a boolean behind texts with commas")
        << QByteArray("[{\"a\":\",,[\"},{},true]")
        << QStringLiteral("Element 2 at offset 16 is a boolean") << 16;
}

void ChunkBodyTest::anythingElseIsRefusedWithItsOffset()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, piece);
    QFETCH(int, offset);
    QString error;
    QVERIFY(!readChunkBody(body, &error));
    QVERIFY2(error.startsWith(piece), qPrintable(error));
    QVERIFY2(error.contains(QStringLiteral("at offset %1").arg(offset)), qPrintable(error));
    QVERIFY(!error.contains(QLatin1Char('\n')));
}

QTEST_APPLESS_MAIN(ChunkBodyTest)
#include "tst_chunkbody.moc"
