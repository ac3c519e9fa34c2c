#include "exchange/chunkhub.h"
#include "exchange/deliveryqueue.h"
#include "support/logcapture.h"

#include <plugin/chunkupdatelistener.h>

#include <QtCore/QJsonValue>
#include <QtCore/QStringList>
#include <QtTest/QtTest>

#include <stdexcept>

using namespace host;

namespace {

/// Writes down the names of the chunks it is handed, and throws at one called "bad".
class RecordingListener final : public ChunkUpdateListener
{
public:
    void chunkUpdate(const QJsonValue &chunk) override
    {
        const QString name = chunk.toObject().value(QStringLiteral("name")).toString();
        if (name == QLatin1String("bad"))
            throw std::runtime_error("too large");
        record.append(name);
    }

    QStringList record;
};

QVector<QJsonObject> chunks(const QStringList &names)
{
    QVector<QJsonObject> made;
    for (const QString &name : names)
        made.append({{QStringLiteral("name"), name}});
    return made;
}

} // namespace

class DeliveryQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whatFitsIntoATurnIsDeliveredAtOnce();
    void noChunksAreDoneAtOnce();
    void eachTurnDeliversAtLeastOne();
    void aLaterListWaitsForAnEarlierOne();
    void aListFromInsideADeliveryComesAfterIt();
    void aChunkThatThrowsEndsItsListOnly();
    void clearForgetsTheRest();

private:
    static constexpr int oneAtATime = 0;
    static constexpr int forAllTime = 60 * 1000;

    DeliveryQueue::Done note(const QString &name)
    {
        return [this, name](bool areHandled) {
            m_listener->record.append(name + QLatin1String(areHandled ? " done" : " failed"));
        };
    }

    std::unique_ptr<ChunkHub> m_hub;
    std::unique_ptr<RecordingListener> m_listener;
};

void DeliveryQueueTest::init()
{
    m_hub = std::make_unique<ChunkHub>();
    m_listener = std::make_unique<RecordingListener>();
    m_hub->subscribe(m_listener.get());
}

void DeliveryQueueTest::whatFitsIntoATurnIsDeliveredAtOnce()
{
    DeliveryQueue queue(m_hub.get(), forAllTime);
    queue.deliver(chunks({QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")}),
                  note(QStringLiteral("first")));
    QCOMPARE(m_listener->record, QStringList({QStringLiteral("1"), QStringLiteral("2"),
                                              QStringLiteral("3"), QStringLiteral("first done")}));
}

void DeliveryQueueTest::noChunksAreDoneAtOnce()
{
    DeliveryQueue queue(m_hub.get(), oneAtATime);
    queue.deliver({}, note(QStringLiteral("none")));
    QCOMPARE(m_listener->record, QStringList(QStringLiteral("none done")));
}

void DeliveryQueueTest::eachTurnDeliversAtLeastOne()
{
    DeliveryQueue queue(m_hub.get(), oneAtATime);
    queue.deliver(chunks({QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")}),
                  note(QStringLiteral("first")));
    QCOMPARE(m_listener->record, QStringList(QStringLiteral("1")));
    QTRY_COMPARE(m_listener->record,
                 QStringList({QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"),
                              QStringLiteral("first done")}));
}

void DeliveryQueueTest::aLaterListWaitsForAnEarlierOne()
{
    DeliveryQueue queue(m_hub.get(), oneAtATime);
    queue.deliver(chunks({QStringLiteral("1"), QStringLiteral("2")}),
                  note(QStringLiteral("first")));
    queue.deliver(chunks({QStringLiteral("3")}), note(QStringLiteral("second")));
    QCOMPARE(m_listener->record, QStringList(QStringLiteral("1")));
    QTRY_COMPARE(m_listener->record, QStringList({QStringLiteral("1"), QStringLiteral("2"),
                                                  QStringLiteral("first done"), QStringLiteral("3"),
                                                  QStringLiteral("second done")}));
}

void DeliveryQueueTest::aListFromInsideADeliveryComesAfterIt()
{
    DeliveryQueue queue(m_hub.get(), forAllTime);
    queue.deliver(chunks({QStringLiteral("1")}), [&](bool) {
        queue.deliver(chunks({QStringLiteral("2")}), note(QStringLiteral("inner")));
        m_listener->record.append(QStringLiteral("outer done"));
    });
    QCOMPARE(m_listener->record, QStringList({QStringLiteral("1"), QStringLiteral("outer done"),
                                              QStringLiteral("2"), QStringLiteral("inner done")}));
}

void DeliveryQueueTest::aChunkThatThrowsEndsItsListOnly()
{
    support::LogCapture log;
    DeliveryQueue queue(m_hub.get(), forAllTime);
    queue.deliver(chunks({QStringLiteral("1"), QStringLiteral("bad"), QStringLiteral("3")}),
                  note(QStringLiteral("first")));
    queue.deliver(chunks({QStringLiteral("4")}), note(QStringLiteral("second")));
    QCOMPARE(m_listener->record, QStringList({QStringLiteral("1"), QStringLiteral("first failed"),
                                              QStringLiteral("4"), QStringLiteral("second done")}));
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.lines().first().message.contains(QLatin1String("too large")));
}

void DeliveryQueueTest::clearForgetsTheRest()
{
    DeliveryQueue queue(m_hub.get(), oneAtATime);
    queue.deliver(chunks({QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")}),
                  note(QStringLiteral("first")));
    queue.deliver(chunks({QStringLiteral("4")}), note(QStringLiteral("second")));
    QCOMPARE(queue.clear(), 3);
    QCoreApplication::processEvents();
    QCOMPARE(m_listener->record, QStringList(QStringLiteral("1")));
    queue.deliver(chunks({QStringLiteral("5")}), note(QStringLiteral("third")));
    QTRY_COMPARE(m_listener->record, QStringList({QStringLiteral("1"), QStringLiteral("5"),
                                                  QStringLiteral("third done")}));
}

QTEST_GUILESS_MAIN(DeliveryQueueTest)
#include "tst_deliveryqueue.moc"
