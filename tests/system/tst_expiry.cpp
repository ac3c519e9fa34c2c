#include "support/eventstream.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

using namespace support;

/// The collector of unused contexts at work, with its real period of a minute.
class ExpiryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unusedContextExpiresAndAUsedOneStays();
};

// The pass after the first minute comes less than a minute after anybody can have made a context,
// or not quite, as the timer's precision has it. So the one that is to expire is used once more
// between, and surely survives that pass: it goes in the second.
void ExpiryTest::unusedContextExpiresAndAUsedOneStays()
{
    HostSetup setup;
    setup.userSettings = "[ch.brenlo.kavo-service.context]\nttl=1\n";
    setup.environment.insert(
        QStringLiteral("QT_LOGGING_RULES"),
        QStringLiteral("ch.brenlo.kavo-service.context.contextservice.debug=true"));
    HostProcess host(setup);
    QVERIFY(host.start());
    HttpClient client(host.port());
    QCOMPARE(client.exchange("PUT", "/context/unused", {}, "{\"a\":1}").status, 201);
    QCOMPARE(client.exchange("PUT", "/context/used", {}, "{\"a\":1}").status, 201);

    // The stream's comments, every 15 s, tell the time: the used context is read at each.
    EventStream stream(host.port());
    QByteArray block = stream.nextBlock();
    QCOMPARE(HttpClient(host.port()).exchange("GET", "/context/unused").status, 200);
    QElapsedTimer sinceLastUse;
    sinceLastUse.start();
    for (int i = 0; i < 12 && block.startsWith(':'); ++i) {
        // A connection of its own: one that is kept would be idle for too long some day.
        QCOMPARE(HttpClient(host.port()).exchange("GET", "/context/used").status, 200);
        block = stream.nextBlock();
    }
    QVERIFY2(block.contains("context-removed"), block.constData());
    QVERIFY2(block.contains("unused"), block.constData());
    QVERIFY(sinceLastUse.elapsed() > 60000);
    const QByteArray log = host.log();
    const int deletion =
        log.indexOf("Deleting context that was not used in more than  60000  "
                    "miliseconds:  \"unused\" . Increase, decrease or disable this "
                    "setting under ch.brenlo.kavo-service.context/ttl.");
    QVERIFY2(deletion >= 0, log.constData());
    QCOMPARE(log.left(deletion).count("Garbage collector cleaning up."), 2);
    QCOMPARE(log.count("Deleting context"), 1);
    HttpClient last(host.port());
    QCOMPARE(last.exchange("GET", "/context/unused").status, 404);
    QCOMPARE(last.exchange("GET", "/context/used").status, 200);
}

QTEST_GUILESS_MAIN(ExpiryTest)
#include "tst_expiry.moc"
