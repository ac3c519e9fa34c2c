#include "broker/pendingreplies.h"

#include "broker/brokermapping.h"

#include <QtTest/QtTest>

using namespace host;

namespace {

// As the module copies it: an absent id becomes null.
QJsonObject replyTo(const QString &exchange, const QJsonValue &id = QJsonValue::Null)
{
    return {{QStringLiteral("exchange"), exchange},
            {QStringLiteral("properties"), QJsonObject{{QStringLiteral("correlation-id"), id}}},
            {QStringLiteral("body"), QJsonObject()}};
}

void ask(PendingReplies *pending, const QByteArray &queue, const QByteArray &id,
         const QByteArray &body = "{}")
{
    QString fault;
    const auto chunk = chunkFromMessage({QByteArrayLiteral("x"), queue, id, body}, &fault);
    pending->expect(*chunk, {queue, id});
}

} // namespace

class PendingRepliesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aReplyIsKnownByQueueAndId();
    void aRequestIsAnsweredOnce();
    void anEventIsNoReply();
    void aRequestWithoutAnIdIsAnsweredToo();
    void theIdOfTheBodyCountsWhereTheMessageHasNone();
    void requestsOfOneClientAreAnsweredInAnyOrder();
    void equalRequestsAreAnsweredEach();
    void aDirectReplyKeepsItsBytes();
    void requestsThatAreNeverAnsweredAreForgotten();
};

void PendingRepliesTest::aReplyIsKnownByQueueAndId()
{
    PendingReplies pending;
    ask(&pending, "q", "1");
    QVERIFY(!pending.take(replyTo(QStringLiteral("q"), QStringLiteral("2"))));
    QVERIFY(!pending.take(replyTo(QStringLiteral("r"), QStringLiteral("1"))));
    const auto address = pending.take(replyTo(QStringLiteral("q"), QStringLiteral("1")));
    QVERIFY(address);
    QCOMPARE(address->queue, QByteArray("q"));
    QCOMPARE(address->correlationId, QByteArray("1"));
}

void PendingRepliesTest::aRequestIsAnsweredOnce()
{
    PendingReplies pending;
    ask(&pending, "q", "1");
    const QJsonObject reply = replyTo(QStringLiteral("q"), QStringLiteral("1"));
    QVERIFY(pending.take(reply));
    QVERIFY(!pending.take(reply));
    QCOMPARE(pending.count(), 0);
}

void PendingRepliesTest::anEventIsNoReply()
{
    PendingReplies pending;
    ask(&pending, "context-created", "1");
    QVERIFY(!pending.take({{QStringLiteral("exchange"), QStringLiteral("context-created")},
                           {QStringLiteral("data"), QJsonObject()}}));
    QVERIFY(!pending.take({}));
    QCOMPARE(pending.count(), 1);
}

void PendingRepliesTest::aRequestWithoutAnIdIsAnsweredToo()
{
    PendingReplies pending;
    ask(&pending, "q", QByteArray());
    const auto address = pending.take(replyTo(QStringLiteral("q")));
    QVERIFY(address);
    QVERIFY(address->correlationId.isNull());
}

void PendingRepliesTest::theIdOfTheBodyCountsWhereTheMessageHasNone()
{
    PendingReplies pending;
    ask(&pending, "q", QByteArray(), R"({"properties":{"correlation-id":17}})");
    QVERIFY(!pending.take(replyTo(QStringLiteral("q"))));
    QVERIFY(pending.take(replyTo(QStringLiteral("q"), 17)));
}

void PendingRepliesTest::requestsOfOneClientAreAnsweredInAnyOrder()
{
    PendingReplies pending;
    for (const char *id : {"1", "2", "3"})
        ask(&pending, "q", id);
    for (const char *id : {"2", "3", "1"}) {
        const auto address = pending.take(replyTo(QStringLiteral("q"), QLatin1String(id)));
        QVERIFY(address);
        QCOMPARE(address->correlationId, QByteArray(id));
    }
}

void PendingRepliesTest::equalRequestsAreAnsweredEach()
{
    PendingReplies pending;
    ask(&pending, "q", "1");
    ask(&pending, "q", "1");
    const QJsonObject reply = replyTo(QStringLiteral("q"), QStringLiteral("1"));
    QVERIFY(pending.take(reply));
    QVERIFY(pending.take(reply));
    QVERIFY(!pending.take(reply));
}

void PendingRepliesTest::aDirectReplyKeepsItsBytes()
{
    PendingReplies pending;
    const QByteArray queue = "amq.rabbitmq.reply-to.g1hkABdyYWJiaXQ\xff.a==";
    ask(&pending, queue, "\xfe");
    const auto address =
        pending.take(replyTo(QString::fromUtf8(queue), QString(QChar::ReplacementCharacter)));
    QVERIFY(address);
    QCOMPARE(address->queue, queue);
    QCOMPARE(address->correlationId, QByteArray("\xfe"));
}

void PendingRepliesTest::requestsThatAreNeverAnsweredAreForgotten()
{
    PendingReplies pending(2);
    ask(&pending, "a", "1");
    ask(&pending, "b", "2");
    ask(&pending, "a", "3");
    QCOMPARE(pending.count(), 2);
    QVERIFY(!pending.take(replyTo(QStringLiteral("a"), QStringLiteral("1"))));
    QVERIFY(pending.take(replyTo(QStringLiteral("b"), QStringLiteral("2"))));
    QVERIFY(pending.take(replyTo(QStringLiteral("a"), QStringLiteral("3"))));
}

QTEST_APPLESS_MAIN(PendingRepliesTest)
#include "tst_pendingreplies.moc"
