#include "broker/outbox.h"

#include <QtTest/QtTest>

using namespace host;

namespace {

OutgoingMessage named(const QByteArray &name, int size = 0)
{
    OutgoingMessage message;
    message.exchange = name;
    message.body = QByteArray(size, 'x');
    return message;
}

// Sends all that may be sent, and tells what that was.
QByteArray send(Outbox *outbox)
{
    QByteArray sent;
    while (const OutgoingMessage *front = outbox->front()) {
        sent += front->exchange;
        outbox->advance();
    }
    return sent;
}

void push(Outbox *outbox, const QByteArray &names)
{
    for (const char name : names)
        outbox->push(named(QByteArray(1, name)));
}

} // namespace

class OutboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messagesGoInOrder();
    void whatIsNotConfirmedGoesAgainInOrder();
    void numbersBeginAnewAfterARewind();
    void aConfirmationMaySettleAllBefore();
    void aConfirmationOfNothingSettlesNothing();
    void anAcknowledgementIsDueOnceAllBeforeItIsSettled();
    void anAcknowledgementWithNothingBeforeItIsDueAtOnce();
    void acknowledgementsAreForgottenWithTheirConnection();
    void anAcknowledgementStaysBehindWhatGoesAgain();
    void theOldestGoWhenThereAreTooMany();
    void theOldestGoWhenTheyAreTooLarge();
    void aSingleMessageAlwaysFits();
    void thereIsMoreRoomWhileTheBrokerTakesMessages();
    void acknowledgementsAreNeverDropped();
    void onlySoMuchIsOnTheWay();
    void aLargeMessageGoesAlone();
    void skippingSettles();
    void itIsBusyFromHalfOn();
};

void OutboxTest::messagesGoInOrder()
{
    Outbox outbox;
    QVERIFY(outbox.isEmpty());
    push(&outbox, "abc");
    QCOMPARE(send(&outbox), QByteArray("abc"));
    QVERIFY(!outbox.isEmpty());
    QCOMPARE(outbox.unconfirmed(), 3);
}

void OutboxTest::whatIsNotConfirmedGoesAgainInOrder()
{
    Outbox outbox;
    push(&outbox, "abcd");
    send(&outbox);
    QCOMPARE(outbox.settle(2, false), 1);
    push(&outbox, "e");
    QCOMPARE(outbox.rewind(), 3);
    QCOMPARE(send(&outbox), QByteArray("acde"));
}

void OutboxTest::numbersBeginAnewAfterARewind()
{
    Outbox outbox;
    push(&outbox, "ab");
    send(&outbox);
    outbox.settle(1, false);
    outbox.rewind();
    send(&outbox);
    QCOMPARE(outbox.settle(1, false), 1);
    QVERIFY(outbox.isEmpty());
}

void OutboxTest::aConfirmationMaySettleAllBefore()
{
    Outbox outbox;
    push(&outbox, "abc");
    send(&outbox);
    QCOMPARE(outbox.settle(1, false), 1);
    QCOMPARE(outbox.settle(3, true), 2);
    QVERIFY(outbox.isEmpty());
}

void OutboxTest::aConfirmationOfNothingSettlesNothing()
{
    Outbox outbox;
    push(&outbox, "ab");
    QCOMPARE(outbox.settle(1, true), 0);
    send(&outbox);
    QCOMPARE(outbox.settle(1, false), 1);
    QCOMPARE(outbox.settle(1, false), 0);
    QCOMPARE(outbox.settle(99, false), 0);
    QCOMPARE(outbox.messages(), 1);
}

void OutboxTest::anAcknowledgementIsDueOnceAllBeforeItIsSettled()
{
    Outbox outbox;
    push(&outbox, "ab");
    outbox.pushAck(7);
    push(&outbox, "c");
    outbox.pushAck(8);
    QVERIFY(!outbox.takeAck());
    send(&outbox);
    outbox.settle(2, false);
    QVERIFY(!outbox.takeAck());
    outbox.settle(1, false);
    QCOMPARE(outbox.takeAck(), std::optional<quint64>(7));
    QVERIFY(!outbox.takeAck());
    outbox.settle(3, false);
    QVERIFY(!outbox.isEmpty());
    QCOMPARE(outbox.takeAck(), std::optional<quint64>(8));
    QVERIFY(outbox.isEmpty());
}

void OutboxTest::anAcknowledgementWithNothingBeforeItIsDueAtOnce()
{
    Outbox outbox;
    outbox.pushAck(7);
    outbox.pushAck(8);
    QCOMPARE(outbox.takeAck(), std::optional<quint64>(8));
    push(&outbox, "a");
    outbox.pushAck(9);
    outbox.front();
    outbox.advance();
    outbox.settle(1, false);
    QCOMPARE(outbox.takeAck(), std::optional<quint64>(9));
}

void OutboxTest::acknowledgementsAreForgottenWithTheirConnection()
{
    Outbox outbox;
    outbox.pushAck(1);
    push(&outbox, "a");
    outbox.pushAck(2);
    push(&outbox, "b");
    outbox.front();
    outbox.advance();
    outbox.pushAck(3);
    outbox.rewind();
    outbox.forgetAcks();
    QCOMPARE(send(&outbox), QByteArray("ab"));
    outbox.settle(2, true);
    QVERIFY(!outbox.takeAck());
    QVERIFY(outbox.isEmpty());
}

void OutboxTest::anAcknowledgementStaysBehindWhatGoesAgain()
{
    Outbox outbox;
    push(&outbox, "a");
    outbox.pushAck(5);
    push(&outbox, "b");
    send(&outbox);
    outbox.rewind(); // the channel alone was closed
    QVERIFY(!outbox.takeAck());
    QCOMPARE(send(&outbox), QByteArray("ab"));
    outbox.settle(1, false);
    QCOMPARE(outbox.takeAck(), std::optional<quint64>(5));
}

void OutboxTest::theOldestGoWhenThereAreTooMany()
{
    OutboxLimits limits;
    limits.messages = 3;
    Outbox outbox(limits);
    push(&outbox, "abc");
    QCOMPARE(outbox.push(named("d")), 1);
    QCOMPARE(send(&outbox), QByteArray("bcd"));
}

void OutboxTest::theOldestGoWhenTheyAreTooLarge()
{
    OutboxLimits limits;
    limits.bytes = 100;
    Outbox outbox(limits);
    QCOMPARE(outbox.push(named("a", 40)), 0);
    QCOMPARE(outbox.push(named("b", 40)), 0);
    QCOMPARE(outbox.push(named("c", 90)), 2);
    QCOMPARE(send(&outbox), QByteArray("c"));
}

void OutboxTest::aSingleMessageAlwaysFits()
{
    OutboxLimits limits;
    limits.bytes = 10;
    Outbox outbox(limits);
    QCOMPARE(outbox.push(named("a", 100)), 0);
    QCOMPARE(send(&outbox), QByteArray("a"));
}

void OutboxTest::thereIsMoreRoomWhileTheBrokerTakesMessages()
{
    OutboxLimits limits;
    limits.messages = 2;
    limits.flowing = 4;
    Outbox outbox(limits);
    for (int i = 0; i < 8; ++i)
        QCOMPARE(outbox.push(named("a"), true), 0);
    QCOMPARE(outbox.push(named("b"), true), 1);
    QCOMPARE(outbox.push(named("c"), false), 7);
    QCOMPARE(send(&outbox), QByteArray("bc"));
}

void OutboxTest::acknowledgementsAreNeverDropped()
{
    OutboxLimits limits;
    limits.messages = 1;
    Outbox outbox(limits);
    push(&outbox, "a");
    outbox.pushAck(1);
    QCOMPARE(outbox.push(named("b")), 1);
    QCOMPARE(send(&outbox), QByteArray("b"));
    QCOMPARE(outbox.takeAck(), std::optional<quint64>(1));
}

void OutboxTest::onlySoMuchIsOnTheWay()
{
    OutboxLimits limits;
    limits.window = 2;
    Outbox outbox(limits);
    push(&outbox, "abc");
    QCOMPARE(send(&outbox), QByteArray("ab"));
    QVERIFY(!outbox.front(1));
    outbox.settle(1, false);
    QVERIFY(!outbox.front(1));
    QCOMPARE(send(&outbox), QByteArray("c"));
}

void OutboxTest::aLargeMessageGoesAlone()
{
    OutboxLimits limits;
    limits.windowBytes = 10;
    Outbox outbox(limits);
    outbox.push(named("a", 100));
    outbox.push(named("b", 100));
    QCOMPARE(send(&outbox), QByteArray("a"));
    outbox.settle(1, false);
    QCOMPARE(send(&outbox), QByteArray("b"));
}

void OutboxTest::skippingSettles()
{
    Outbox outbox;
    push(&outbox, "a");
    outbox.pushAck(4);
    push(&outbox, "b");
    QVERIFY(outbox.front());
    outbox.skip();
    QCOMPARE(outbox.takeAck(), std::optional<quint64>(4));
    QCOMPARE(send(&outbox), QByteArray("b"));
}

void OutboxTest::itIsBusyFromHalfOn()
{
    OutboxLimits limits;
    limits.messages = 4;
    Outbox outbox(limits);
    push(&outbox, "ab");
    QVERIFY(!outbox.isBusy());
    push(&outbox, "c");
    QVERIFY(outbox.isBusy());
    send(&outbox);
    QVERIFY(!outbox.isBusy());
    limits = OutboxLimits();
    limits.bytes = 100;
    Outbox sized(limits);
    sized.push(named("a", 60));
    QVERIFY(sized.isBusy());
}

QTEST_APPLESS_MAIN(OutboxTest)
#include "tst_outbox.moc"
