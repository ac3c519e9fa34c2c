#include "common/parsejson.h"
#include "support/plainjson.h"
#include "support/randomjsontexts.h"

#include <QtTest/QtTest>

#ifndef KAVO_LEAKS_ARE_FOUND
#include <malloc.h>
#endif

namespace {

/// Some of them broken.
QByteArrayList manyTexts()
{
    support::RandomJsonTexts random(11);
    QByteArrayList texts;
    for (int i = 0; i < 200; ++i) {
        const QByteArray text = random.text();
        texts.append(i % 2 ? random.mutated(text) : text);
    }
    return texts;
}

void parse(const QByteArrayList &texts, int rounds)
{
    for (int i = 0; i < rounds; ++i) {
        for (const QByteArray &text : texts)
            common::parseJson(text);
    }
}

} // namespace

class ParseJsonMemoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsLost();
};

void ParseJsonMemoryTest::nothingIsLost()
{
    constexpr int Rounds = 200;
    const QByteArrayList texts = manyTexts();
    parse(texts, Rounds); // the allocator keeps a little for the next time
#ifdef KAVO_LEAKS_ARE_FOUND
    QCOMPARE(__lsan_do_recoverable_leak_check(), 0);
#else
    const auto before = static_cast<qint64>(mallinfo2().uordblks);
    parse(texts, Rounds);
    const qint64 grown = static_cast<qint64>(mallinfo2().uordblks) - before;
    constexpr int SmallestLoss = 90; // an array of one number
    QVERIFY2(grown < Rounds * SmallestLoss, QByteArray::number(grown).constData());
#endif
}

QTEST_APPLESS_MAIN(ParseJsonMemoryTest)
#include "tst_parsejson_memory.moc"
