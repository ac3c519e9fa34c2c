#include "context/contextid.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtTest/QtTest>

#include <random>

class TestContextId : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameSecondGivesTheSameId();
    void idsAreSixteenLettersAndDigits();
    void neighbouringSecondsGiveDifferentIds();
#ifdef Q_OS_LINUX
    void drawFollowsTheSeededGenerator();
#endif
};

void TestContextId::sameSecondGivesTheSameId()
{
    const QString first = contextIdOfSecond(1600000000);
    contextIdOfSecond(1600000001);
    QCOMPARE(contextIdOfSecond(1600000000), first);
}

void TestContextId::idsAreSixteenLettersAndDigits()
{
    const QRegularExpression form(QStringLiteral("\\A[A-Za-z0-9]{16}\\z"));
    for (qint64 second = 1600000000; second < 1600000500; ++second)
        QVERIFY(form.match(contextIdOfSecond(second)).hasMatch());
}

void TestContextId::neighbouringSecondsGiveDifferentIds()
{
    QSet<QString> ids;
    for (qint64 second = 1600000000; second < 1600001000; ++second)
        ids.insert(contextIdOfSecond(second));
    QCOMPARE(ids.size(), 1000);
}

#ifdef Q_OS_LINUX
void TestContextId::drawFollowsTheSeededGenerator()
{
    // On Linux Qt's generator is the standard library's minimal one.
    const QString alphabet =
        QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789");
    for (const qint64 second : {qint64(1), qint64(1600000000), qint64(4294967295)}) {
        std::minstd_rand generator(static_cast<uint>(second));
        QString expected;
        for (int i = 0; i < 16; ++i)
            expected += alphabet.at(static_cast<int>(generator() % 62));
        QCOMPARE(contextIdOfSecond(second), expected);
    }
}
#endif

QTEST_GUILESS_MAIN(TestContextId)
#include "tst_contextid.moc"
