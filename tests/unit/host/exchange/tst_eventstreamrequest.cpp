#include "exchange/eventstreamrequest.h"

#include <QtCore/QUrl>
#include <QtTest/QtTest>

using namespace host;

class EventStreamRequestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutAnythingTheStreamStartsWithTheNextChunk();
    void onlyNarrowsTheStream();
    void fromAndTheHeaderAreIds();
    void theHeaderCountsBeforeFrom();
    void otherQueryItemsAreLeftAlone();
    void whatMakesNoSenseIsRefused_data();
    void whatMakesNoSenseIsRefused();
};

namespace {

std::optional<EventStreamRequest> read(const char *target, const QString &header, QString *error)
{
    return readEventStreamRequest(QUrl::fromEncoded(target), header, error);
}

} // namespace

void EventStreamRequestTest::withoutAnythingTheStreamStartsWithTheNextChunk()
{
    QString error;
    const auto request = read("/exchange/chunks", QString(), &error);
    QVERIFY(request);
    QVERIFY(!request->after);
    QVERIFY(request->wants(Direction::Published));
    QVERIFY(request->wants(Direction::Delivered));
}

void EventStreamRequestTest::onlyNarrowsTheStream()
{
    QString error;
    const auto published = read("/exchange/chunks?only=published", QString(), &error);
    QVERIFY(published && published->wants(Direction::Published));
    QVERIFY(!published->wants(Direction::Delivered));
    const auto delivered = read("/exchange/chunks?only=deliv%65red", QString(), &error);
    QVERIFY(delivered && delivered->wants(Direction::Delivered));
    QVERIFY(!delivered->wants(Direction::Published));
}

void EventStreamRequestTest::fromAndTheHeaderAreIds()
{
    QString error;
    QCOMPARE(read("/exchange/chunks?from=0", QString(), &error)->after,
             std::make_optional<qint64>(0));
    QCOMPARE(read("/exchange/chunks", QStringLiteral("1700000000000001"), &error)->after,
             std::make_optional<qint64>(1700000000000001));
}

void EventStreamRequestTest::theHeaderCountsBeforeFrom()
{
    QString error;
    QCOMPARE(read("/exchange/chunks?from=5&only=published", QStringLiteral("7"), &error)->after,
             std::make_optional<qint64>(7));
}

void EventStreamRequestTest::otherQueryItemsAreLeftAlone()
{
    QString error;
    QVERIFY(read("/exchange/chunks?_=123&from=4", QString(), &error));
}

void EventStreamRequestTest::whatMakesNoSenseIsRefused_data()
{
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("named");
    const QString none;
    QTest::newRow("only of another kind") << QByteArray("/x?only=all") << none << "\"only\"";
    QTest::newRow("only in capitals") << QByteArray("/x?only=Published") << none << "\"only\"";
    QTest::newRow("only empty") << QByteArray("/x?only=") << none << "\"only\"";
    QTest::newRow("only bare") << QByteArray("/x?only") << none << "\"only\"";
    QTest::newRow("only twice") << QByteArray("/x?only=published&only=delivered") << none
                                << "\"only\"";
    QTest::newRow("from a word") << QByteArray("/x?from=start") << none << "\"from\"";
    QTest::newRow("from empty") << QByteArray("/x?from=") << none << "\"from\"";
    QTest::newRow("from negative") << QByteArray("/x?from=-1") << none << "\"from\"";
    QTest::newRow("from signed") << QByteArray("/x?from=%2B1") << none << "\"from\"";
    QTest::newRow("from with a blank") << QByteArray("/x?from=%201") << none << "\"from\"";
    QTest::newRow("from a fraction") << QByteArray("/x?from=1.5") << none << "\"from\"";
    QTest::newRow("from too large")
        << QByteArray("/x?from=9999999999999999999") << none << "\"from\"";
    QTest::newRow("from in Arabic digits") << QByteArray("/x?from=%D9%A1") << none << "\"from\"";
    QTest::newRow("from twice") << QByteArray("/x?from=1&from=2") << none << "\"from\"";
    QTest::newRow("header a word") << QByteArray("/x") << QStringLiteral("abc") << "Last-Event-ID";
    QTest::newRow("header twice") << QByteArray("/x") << QStringLiteral("1, 2") << "Last-Event-ID";
}

void EventStreamRequestTest::whatMakesNoSenseIsRefused()
{
    QFETCH(QByteArray, target);
    QFETCH(QString, header);
    QFETCH(QString, named);
    QString error;
    QVERIFY(!read(target.constData(), header, &error));
    QVERIFY2(error.contains(named), qPrintable(error));
}

QTEST_APPLESS_MAIN(EventStreamRequestTest)
#include "tst_eventstreamrequest.moc"
