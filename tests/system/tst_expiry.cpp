#include "support/eventstream.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

using namespace support;

/// The collector of unused contexts at work, with its real period of a minute.
class ExpiryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unusedContextExpiresAndAUsedOneStays();
};

void ExpiryTest::unusedContextExpiresAndAUsedOneStays()
{
    HostSetup setup;
    setup.userSettings = "[ch.brenlo.kavo-service.context]\nttl=1\n";
    HostProcess host(setup);
    QVERIFY(host.start());
    HttpClient client(host.port());
    QCOMPARE(client.exchange("PUT", "/context/unused", {}, "{\"a\":1}").status, 201);
    QCOMPARE(client.exchange("PUT", "/context/used", {}, "{\"a\":1}").status, 201);

    // The stream's comments, every 15 s, tell the time: the used context is read at each.
    EventStream stream(host.port());
    QByteArray block = stream.nextBlock();
    for (int i = 0; i < 12 && block.startsWith(':'); ++i) {
        // A connection of its own: one that is kept would be idle for too long some day.
        QCOMPARE(HttpClient(host.port()).exchange("GET", "/context/used").status, 200);
        block = stream.nextBlock();
    }
    QVERIFY2(block.contains("context-removed"), block.constData());
    QVERIFY2(block.contains("unused"), block.constData());
    QVERIFY(host.log().contains("Deleting context that was not used in more than  60000  "
                                "miliseconds:  \"unused\" . Increase, decrease or disable this "
                                "setting under ch.brenlo.kavo-service.context/ttl."));
    HttpClient last(host.port());
    QCOMPARE(last.exchange("GET", "/context/unused").status, 404);
    QCOMPARE(last.exchange("GET", "/context/used").status, 200);
}

QTEST_GUILESS_MAIN(ExpiryTest)
#include "tst_expiry.moc"
