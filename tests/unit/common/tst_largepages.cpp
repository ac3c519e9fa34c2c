#include "common/largepages.h"

#include <QtTest/QTest>

using namespace common;

class LargePagesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPartIsWhatMidGives_data();
    void aPartIsWhatMidGives();
    void aBlockKeepsItsBytes_data();
    void aBlockKeepsItsBytes();
};

void LargePagesTest::aPartIsWhatMidGives_data()
{
    constexpr int large = 4 * 1024 * 1024;
    QTest::addColumn<int>("begin");
    QTest::addColumn<int>("size");
    QTest::newRow("nothing") << 5 << 0;
    QTest::newRow("a byte") << 5 << 1;
    QTest::newRow("just not large") << 77 << large - 1;
    QTest::newRow("large") << 77 << large;
    QTest::newRow("to the end") << 3 << large + 97;
}

void LargePagesTest::aPartIsWhatMidGives()
{
    QFETCH(const int, begin);
    QFETCH(const int, size);
    QByteArray bytes(4 * 1024 * 1024 + 100, Qt::Uninitialized);
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7 + i / 256);
    const QByteArray part = copyOfPart(bytes, begin, size);
    QCOMPARE(part.size(), size);
    QVERIFY(part == bytes.mid(begin, size));
}

void LargePagesTest::aBlockKeepsItsBytes_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("none") << 0;
    QTest::newRow("small") << 100;
    QTest::newRow("a large page and a bit") << 2 * 1024 * 1024 + 1;
    QTest::newRow("many") << 16 * 1024 * 1024 + 5000;
}

void LargePagesTest::aBlockKeepsItsBytes()
{
    QFETCH(const int, size);
    QByteArray block(size, 'x');
    preferLargePages(&block);
    QCOMPARE(block.size(), size);
    QCOMPARE(block.count('x'), size);
}

QTEST_APPLESS_MAIN(LargePagesTest)
#include "tst_largepages.moc"
