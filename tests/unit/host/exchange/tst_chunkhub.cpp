#include "exchange/chunkhub.h"
#include "support/logcapture.h"

#include <plugin/chunkupdatelistener.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>
#include <QtTest/QtTest>

using namespace host;

namespace {

QJsonObject named(const QString &name)
{
    return {{QStringLiteral("exchange"), name}};
}

QString nameOf(const QJsonValue &chunk)
{
    return chunk.toObject().value(QStringLiteral("exchange")).toString();
}

/// Writes down what it is told, under its name.
class RecordingExchange final : public Exchange
{
public:
    RecordingExchange(const QString &name, QStringList *record)
        : m_name(name)
        , m_record(record)
    {
    }

    void published(const QJsonObject &chunk) override { write(QStringLiteral("published"), chunk); }
    void delivering(const QJsonObject &chunk) override
    {
        write(QStringLiteral("delivering"), chunk);
    }

private:
    void write(const QString &what, const QJsonObject &chunk)
    {
        m_record->append(m_name + QLatin1Char(' ') + what + QLatin1Char(' ') + nameOf(chunk));
    }

    QString m_name;
    QStringList *m_record;
};

/// Writes down what it is handed and publishes an answer.
class AnsweringListener final : public ChunkUpdateListener
{
public:
    AnsweringListener(ChunkPublisher *publisher, QStringList *record)
        : m_publisher(publisher)
        , m_record(record)
    {
    }

    void chunkUpdate(const QJsonValue &chunk) override
    {
        m_record->append(QStringLiteral("handled ") + nameOf(chunk));
        m_publisher->publish(named(QStringLiteral("answer")));
    }

private:
    ChunkPublisher *m_publisher;
    QStringList *m_record;
};

} // namespace

class ChunkHubTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyExchangeIsToldInOrder();
    void aPublishDuringADeliveryComesAfterItsDeliveredEvent();
    void aListenerThatSubscribesTwiceIsToldOnce();
    void nobodyIsToldAfterTheEnd();
    void whatIsNoObjectIsNotPublished();
};

void ChunkHubTest::everyExchangeIsToldInOrder()
{
    QStringList record;
    RecordingExchange first(QStringLiteral("first"), &record);
    RecordingExchange second(QStringLiteral("second"), &record);
    ChunkHub hub;
    hub.addExchange(&first);
    hub.addExchange(&second);
    hub.publish(named(QStringLiteral("a")));
    QCOMPARE(record, (QStringList{QStringLiteral("first published a"),
                                  QStringLiteral("second published a")}));
}

void ChunkHubTest::aPublishDuringADeliveryComesAfterItsDeliveredEvent()
{
    QStringList record;
    RecordingExchange exchange(QStringLiteral("embedded"), &record);
    ChunkHub hub;
    AnsweringListener listener(&hub, &record);
    hub.addExchange(&exchange);
    hub.subscribe(&listener);
    hub.deliver(named(QStringLiteral("question")));
    QCOMPARE(record, (QStringList{QStringLiteral("embedded delivering question"),
                                  QStringLiteral("handled question"),
                                  QStringLiteral("embedded published answer")}));
}

void ChunkHubTest::aListenerThatSubscribesTwiceIsToldOnce()
{
    QStringList record;
    ChunkHub hub;
    AnsweringListener listener(&hub, &record);
    hub.subscribe(&listener);
    hub.subscribe(&listener);
    hub.subscribe(nullptr);
    hub.deliver(named(QStringLiteral("a")));
    QCOMPARE(record, QStringList{QStringLiteral("handled a")});
}

void ChunkHubTest::nobodyIsToldAfterTheEnd()
{
    QStringList record;
    ChunkHub hub;
    AnsweringListener listener(&hub, &record);
    hub.subscribe(&listener);
    hub.stopDelivering();
    hub.deliver(named(QStringLiteral("a")));
    QVERIFY(record.isEmpty());
}

void ChunkHubTest::whatIsNoObjectIsNotPublished()
{
    QStringList record;
    RecordingExchange exchange(QStringLiteral("embedded"), &record);
    ChunkHub hub;
    hub.addExchange(&exchange);
    support::LogCapture log;
    hub.publish(QJsonValue());
    hub.publish(QJsonArray{1});
    QVERIFY(record.isEmpty());
    const auto lines = log.lines(QStringLiteral("kavo.host.exchange"));
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.first().level, QtWarningMsg);
}

QTEST_APPLESS_MAIN(ChunkHubTest)
#include "tst_chunkhub.moc"
