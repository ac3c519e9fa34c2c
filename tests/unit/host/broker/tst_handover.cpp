#include "broker/handover.h"

#include <QtTest/QtTest>

using namespace host;
using std::chrono::milliseconds;

namespace {

OutgoingMessage named(const QByteArray &name)
{
    OutgoingMessage message;
    message.exchange = name;
    return message;
}

Delivery tagged(quint64 tag, qint64 size = 0)
{
    Delivery delivery;
    delivery.tag = tag;
    delivery.size = size;
    return delivery;
}

bool none(const OutgoingMessage &)
{
    return false;
}

} // namespace

class HandoverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theLoopIsCalledOnceForManyDeliveries();
    void aDeliveryIsAcknowledgedAfterWhatItCaused();
    void aDeliveryOfALostConnectionIsNotAcknowledged();
    void deliveriesThatWaitAreForgottenWithTheirConnection();
    void noDeliveryIsTakenWhileTooMuchWaitsForTheBroker();
    void thereIsMoreRoomWhileTheBrokerTakesMessages();
    void whatIsRefusedIsPassedOver();
    void anInboxIsFullByItsBytes();
    void sleepIsRefusedWhenThereIsWork();
    void itIsFlushedWhenNothingWaits();
    void itCountsAsFlushedWhenTheTimeIsUp();
    void theEndIsWaitedFor();
};

void HandoverTest::theLoopIsCalledOnceForManyDeliveries()
{
    Handover handover((BrokerLimits()));
    int calls = 0;
    handover.setLoop([&calls] { ++calls; });
    for (quint64 tag = 1; tag <= 3; ++tag)
        QVERIFY(handover.deliver(tagged(tag)));
    QCOMPARE(calls, 1);
    Delivery delivery;
    for (quint64 tag = 1; tag <= 3; ++tag) {
        QVERIFY(handover.take(&delivery));
        QCOMPARE(delivery.tag, tag);
    }
    QVERIFY(!handover.take(&delivery));
    handover.deliver(tagged(4));
    QCOMPARE(calls, 2);
}

void HandoverTest::aDeliveryIsAcknowledgedAfterWhatItCaused()
{
    Handover handover((BrokerLimits()));
    handover.connected(-1);
    handover.deliver(tagged(5));
    Delivery delivery;
    QVERIFY(handover.take(&delivery));
    handover.push(named("event"));
    handover.handled(delivery);
    QVERIFY(!handover.takeAck());
    QVERIFY(handover.nextToSend(10, none));
    QVERIFY(!handover.takeAck());
    QCOMPARE(handover.settle(1, false), 1);
    QCOMPARE(handover.takeAck(), std::optional<quint64>(5));
    QCOMPARE(handover.counts().delivered, quint64(1));
    QCOMPARE(handover.counts().published, quint64(1));
}

void HandoverTest::aDeliveryOfALostConnectionIsNotAcknowledged()
{
    Handover handover((BrokerLimits()));
    handover.connected(-1);
    handover.deliver(tagged(5));
    Delivery delivery;
    QVERIFY(handover.take(&delivery));
    handover.disconnected();
    handover.connected(-1);
    handover.handled(delivery);
    QVERIFY(!handover.takeAck());
}

void HandoverTest::deliveriesThatWaitAreForgottenWithTheirConnection()
{
    Handover handover((BrokerLimits()));
    handover.connected(-1);
    handover.deliver(tagged(5));
    handover.disconnected();
    Delivery delivery;
    QVERIFY(!handover.take(&delivery));
}

void HandoverTest::noDeliveryIsTakenWhileTooMuchWaitsForTheBroker()
{
    BrokerLimits limits;
    limits.outbox.messages = 2;
    Handover handover(limits);
    int calls = 0;
    handover.setLoop([&calls] { ++calls; });
    handover.deliver(tagged(1));
    QCOMPARE(calls, 1);
    handover.push(named("a"));
    handover.push(named("b"));
    Delivery delivery;
    QVERIFY(!handover.take(&delivery));
    QVERIFY(handover.nextToSend(10, none));
    QCOMPARE(calls, 1);
    handover.settle(1, false);
    QCOMPARE(calls, 2);
    QVERIFY(handover.take(&delivery));
}

void HandoverTest::thereIsMoreRoomWhileTheBrokerTakesMessages()
{
    BrokerLimits limits;
    limits.outbox.messages = 2;
    limits.outbox.flowing = 2;
    Handover handover(limits);
    QCOMPARE(handover.push(named("a")), 0);
    QVERIFY(!handover.isCrowded());
    QCOMPARE(handover.push(named("b")), 0);
    QVERIFY(handover.isCrowded());
    QCOMPARE(handover.push(named("c")), 1);
    handover.connected(-1);
    QCOMPARE(handover.push(named("d")), 1); // it takes nothing before all is declared
    handover.ready();
    QCOMPARE(handover.push(named("e")), 0);
    QCOMPARE(handover.push(named("f")), 0);
    handover.setBlocked(true);
    QCOMPARE(handover.push(named("g")), 3);
    QCOMPARE(handover.counts().waiting, 2);
    QCOMPARE(handover.counts().dropped, quint64(5));
}

void HandoverTest::whatIsRefusedIsPassedOver()
{
    Handover handover((BrokerLimits()));
    for (const char *name : {"bad", "good", "bad"})
        handover.push(named(name));
    const auto isBad = [](const OutgoingMessage &message) { return message.exchange == "bad"; };
    const auto message = handover.nextToSend(10, isBad);
    QVERIFY(message);
    QCOMPARE(message->exchange, QByteArray("good"));
    QVERIFY(!handover.nextToSend(10, isBad));
    QCOMPARE(handover.counts().refused, quint64(2));
    QCOMPARE(handover.counts().waiting, 1);
}

void HandoverTest::anInboxIsFullByItsBytes()
{
    BrokerLimits limits;
    limits.inboxBytes = 100;
    Handover handover(limits);
    handover.deliver(tagged(1, 100));
    QVERIFY(!handover.isInboxFull());
    handover.deliver(tagged(2, 1));
    QVERIFY(handover.isInboxFull());
    Delivery delivery;
    QVERIFY(handover.take(&delivery));
    QVERIFY(!handover.isInboxFull());
}

void HandoverTest::sleepIsRefusedWhenThereIsWork()
{
    Handover handover((BrokerLimits()));
    QVERIFY(handover.prepareToSleep());
    handover.awake();
    handover.push(named("a"));
    QVERIFY(!handover.prepareToSleep());
    QVERIFY(handover.prepareToSleep());
}

void HandoverTest::itIsFlushedWhenNothingWaits()
{
    BrokerLimits limits;
    limits.flush = std::chrono::hours(1);
    Handover handover(limits);
    QVERIFY(!handover.isFlushed());
    QCOMPARE(handover.timeLeft(), milliseconds(0));
    handover.push(named("a"));
    handover.stop();
    QVERIFY(!handover.isFlushed());
    QVERIFY(handover.timeLeft() > milliseconds(0));
    QVERIFY(handover.timeLeft() <= limits.flush);
    handover.nextToSend(10, none);
    QVERIFY(!handover.isFlushed());
    handover.settle(1, false);
    QVERIFY(handover.isFlushed());
}

void HandoverTest::itCountsAsFlushedWhenTheTimeIsUp()
{
    BrokerLimits limits;
    limits.flush = milliseconds(0);
    Handover handover(limits);
    handover.push(named("a"));
    handover.stop();
    QVERIFY(handover.isFlushed());
}

void HandoverTest::theEndIsWaitedFor()
{
    Handover handover((BrokerLimits()));
    QVERIFY(!handover.waitForEnd(milliseconds(0)));
    handover.ended();
    QVERIFY(handover.waitForEnd(milliseconds(0)));
}

QTEST_APPLESS_MAIN(HandoverTest)
#include "tst_handover.moc"
