// A day at work: chunks in, requests in, answers and events out, all through the interfaces.
#include "fakehost.h"
#include "support/fakehttp.h"
#include "support/recordingpublisher.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <plugin/chunkupdatelistener.h>

using fakehost::Plugin;
using http::server::Request;
using support::Exchange;
using support::FakeRequest;
using support::RecordingPublisher;

Q_DECLARE_METATYPE(http::server::Request::HttpMethod)

class tst_Service : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void everyRouteIsServed_data();
    void everyRouteIsServed();
    void otherRequestsAreServedByNobody_data();
    void otherRequestsAreServedByNobody();
    void createdContextIsReadMergedAndDeleted();
    void waitingClientIsAnsweredBeforeTheChangingCallReturns();
    void waitingClientIsAnswered404WhenTheContextIsDeleted();
    void answeredLongPollDeletesItself();
    void chunkThatTwoBehavioursAcceptIsHandledByBothInListOrder();
    void replyToIsCutToTheQueueName();
    void missingReplyToGivesAnEmptyExchange();
    void chunksThatNobodyAcceptsAreDropped_data();
    void chunksThatNobodyAcceptsAreDropped();
    void fileOfAChunkIsDownloadedByARequest();
    void messageOfAChunkIsPolledAndAcknowledged();

private:
    void deliver(const QJsonValue &chunk) { m_host->listeners().at(0)->chunkUpdate(chunk); }

    /// The one answer's status and body.
    QPair<int, QByteArray> ask(Request::HttpMethod method, const QString &target,
                               const QByteArray &body = QByteArray())
    {
        Exchange exchange(m_plugin->strategy(), FakeRequest(method, target, body));
        exchange.handle();
        return {exchange.response->statuses().value(0), exchange.response->body()};
    }

    static QJsonObject object(const QByteArray &json)
    {
        return QJsonDocument::fromJson(json).object();
    }

    std::unique_ptr<RecordingPublisher> m_host;
    std::unique_ptr<Plugin> m_plugin;
};

void tst_Service::init()
{
    fakehost::Workstation::current()->clear();
    m_host = std::make_unique<RecordingPublisher>();
    m_plugin = std::make_unique<Plugin>();
    (*m_plugin)->initialize();
    (*m_plugin)->attachHost(m_host.get());
}

void tst_Service::cleanup()
{
    (*m_plugin)->detachHost();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_plugin.reset(); // before its host
    m_host.reset();
}

void tst_Service::everyRouteIsServed_data()
{
    QTest::addColumn<Request::HttpMethod>("method");
    QTest::addColumn<QString>("target");
    const auto row = [](Request::HttpMethod method, const char *target) {
        QTest::addRow("%d %s", method, target) << method << QString::fromLatin1(target);
    };
    row(Request::Get, "/context/abc/file/x.pdf");
    row(Request::Get, "/context/abc/event");
    row(Request::Delete, "/context/abc/event");
    row(Request::Get, "/message/event");
    row(Request::Get, "/context/abc");
    row(Request::Put, "/context/abc");
    row(Request::Delete, "/context/abc");
    row(Request::Post, "/context");
    row(Request::Post, "/context/abc/file");
    row(Request::Post, "/context/abc/$form");
    row(Request::Post, "/context/abc/credentials");
    row(Request::Post, "/message");
}

void tst_Service::everyRouteIsServed()
{
    QFETCH(Request::HttpMethod, method);
    QFETCH(QString, target);
    Exchange exchange(m_plugin->strategy(), FakeRequest(method, target));
    QVERIFY(exchange.isServed());
    QVERIFY(exchange.calls().isEmpty());        // not before handle
    QCOMPARE(exchange.request.use_count(), 2L); // the strategy has let go of it
}

void tst_Service::otherRequestsAreServedByNobody_data()
{
    QTest::addColumn<Request::HttpMethod>("method");
    QTest::addColumn<QString>("target");
    QTest::newRow("HEAD") << Request::Head << QStringLiteral("/context/abc");
    QTest::newRow("POST of a context") << Request::Post << QStringLiteral("/context/abc");
    QTest::newRow("query") << Request::Get << QStringLiteral("/context/abc?x=1");
    QTest::newRow("other path") << Request::Get << QStringLiteral("/health");
    QTest::newRow("unknown method") << Request::Unknown << QStringLiteral("/context/abc");
}

void tst_Service::otherRequestsAreServedByNobody()
{
    QFETCH(Request::HttpMethod, method);
    QFETCH(QString, target);
    const Exchange exchange(m_plugin->strategy(), FakeRequest(method, target));
    QVERIFY(!exchange.isServed());
    QCOMPARE(exchange.request.use_count(), 1L);
}

void tst_Service::createdContextIsReadMergedAndDeleted()
{
    const auto created = ask(Request::Post, QStringLiteral("/context"), "{\"a\":1}");
    QCOMPARE(created.first, 200);
    const QString id = object(created.second).value(QLatin1String("_id")).toString();
    QCOMPARE(id.size(), 16);
    const QString target = QStringLiteral("/context/") + id;
    QCOMPARE(ask(Request::Get, target), created);

    const auto merged = ask(Request::Put, target, "{\"patient\":{\"name\":\"A\"}}");
    QCOMPARE(merged.first, 200);
    QCOMPARE(object(merged.second).value(QLatin1String("a")), QJsonValue(1));
    const QJsonObject event = m_host->last().value(QLatin1String("data")).toObject();
    QCOMPARE(event.value(QLatin1String("event")), QJsonValue(QStringLiteral("context-changed")));
    QCOMPARE(event.value(QLatin1String("data")).toObject().keys(),
             QStringList{QStringLiteral("patient")});

    QCOMPARE(ask(Request::Delete, target).first, 204);
    QCOMPARE(m_host->last().value(QLatin1String("exchange")),
             QJsonValue(QStringLiteral("context-removed")));
    QCOMPARE(ask(Request::Get, target).first, 404);
}

void tst_Service::waitingClientIsAnsweredBeforeTheChangingCallReturns()
{
    Exchange poll(m_plugin->strategy(),
                  FakeRequest(Request::Get, QStringLiteral("/context/abc/event")));
    poll.handle();
    QVERIFY(poll.calls().isEmpty());
    ask(Request::Put, QStringLiteral("/context/other"), "{\"a\":1}");
    QVERIFY(poll.calls().isEmpty());
    ask(Request::Put, QStringLiteral("/context/abc"), "{\"a\":1}");
    QCOMPARE(poll.response->statuses(), QVector<int>{200});
    QCOMPARE(object(poll.response->body()).value(QLatin1String("a")), QJsonValue(1));
}

void tst_Service::waitingClientIsAnswered404WhenTheContextIsDeleted()
{
    ask(Request::Put, QStringLiteral("/context/abc"), "{\"a\":1}");
    QCOMPARE(ask(Request::Get, QStringLiteral("/context/abc/event")).first, 200);
    Exchange poll(m_plugin->strategy(),
                  FakeRequest(Request::Get, QStringLiteral("/context/abc/event")));
    poll.handle();
    QVERIFY(poll.calls().isEmpty());
    ask(Request::Delete, QStringLiteral("/context/abc"));
    QCOMPARE(poll.response->statuses(), QVector<int>{404});
}

void tst_Service::answeredLongPollDeletesItself()
{
    Exchange poll(m_plugin->strategy(),
                  FakeRequest(Request::Get, QStringLiteral("/context/abc/event")));
    poll.handle();
    QPointer<QObject> controller(dynamic_cast<QObject *>(poll.controller()));
    QVERIFY(controller);
    ask(Request::Put, QStringLiteral("/context/abc"), "{\"a\":1}");
    QVERIFY(controller);
    QCoreApplication::sendPostedEvents(controller, QEvent::DeferredDelete);
    QVERIFY(!controller);
    QVERIFY(!poll.isServed());
}

void tst_Service::chunkThatTwoBehavioursAcceptIsHandledByBothInListOrder()
{
    // Set comes before new-context in the list, and the reply in between shows where it stands.
    deliver(QJsonObject{
        {QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-set")},
        {QStringLiteral("properties"),
         QJsonObject{{QStringLiteral("reply-to"), QStringLiteral("exchange:replies")}}},
        {QStringLiteral("body"),
         QJsonObject{{QStringLiteral("_id"), QStringLiteral("abc")}, {QStringLiteral("a"), 1}}},
        {QStringLiteral("data"),
         QJsonObject{{QStringLiteral("event"), QStringLiteral("new-context")},
                     {QStringLiteral("data"), QJsonObject{{QStringLiteral("b"), 2}}}}}});
    QCOMPARE(m_host->chunks().size(), 4);
    QCOMPARE(m_host->chunks()
                 .at(0)
                 .toObject()
                 .value(QLatin1String("data"))
                 .toObject()
                 .value(QLatin1String("id")),
             QJsonValue(QStringLiteral("abc")));
    QCOMPARE(m_host->chunks().at(1).toObject().value(QLatin1String("exchange")),
             QJsonValue(QStringLiteral("replies")));
    QCOMPARE(m_host->chunks().at(2).toObject().value(QLatin1String("exchange")),
             QJsonValue(QStringLiteral("context-created")));
    QVERIFY(m_host->last().value(QLatin1String("data")).toObject().contains(QLatin1String("id")));
}

void tst_Service::replyToIsCutToTheQueueName()
{
    deliver(QJsonObject{
        {QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-delete")},
        {QStringLiteral("properties"),
         QJsonObject{{QStringLiteral("reply-to"), QStringLiteral("123456789my.queue")},
                     {QStringLiteral("correlation-id"), 7}}},
        {QStringLiteral("body"), QJsonObject{{QStringLiteral("context"), QStringLiteral("abc")}}}});
    const QJsonObject reply{
        {QStringLiteral("exchange"), QStringLiteral("my.queue")},
        {QStringLiteral("properties"), QJsonObject{{QStringLiteral("correlation-id"), 7}}},
        {QStringLiteral("body"), QJsonObject{{QStringLiteral("context"), QStringLiteral("abc")}}}};
    QCOMPARE(m_host->last(), reply);
}

void tst_Service::missingReplyToGivesAnEmptyExchange()
{
    deliver(QJsonObject{{QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-delete")}});
    const QJsonObject reply{
        {QStringLiteral("exchange"), QString()},
        {QStringLiteral("properties"),
         QJsonObject{{QStringLiteral("correlation-id"), QJsonValue::Null}}},
        {QStringLiteral("body"), QJsonObject{{QStringLiteral("context"), QString()}}}};
    QCOMPARE(m_host->last(), reply);
}

void tst_Service::chunksThatNobodyAcceptsAreDropped_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::newRow("null") << QJsonValue();
    QTest::newRow("text") << QJsonValue(QStringLiteral("kavo-context-rpc-create"));
    QTest::newRow("array") << QJsonValue(QJsonArray{1, 2});
    QTest::newRow("empty object") << QJsonValue(QJsonObject());
    QTest::newRow("other exchange")
        << QJsonValue(QJsonObject{{QStringLiteral("exchange"), QStringLiteral("another")}});
    QTest::newRow("other case") << QJsonValue(
        QJsonObject{{QStringLiteral("exchange"), QStringLiteral("Kavo-Context-Rpc-Create")}});
    QTest::newRow("exchange that is no text")
        << QJsonValue(QJsonObject{{QStringLiteral("exchange"), QJsonArray()}});
}

void tst_Service::chunksThatNobodyAcceptsAreDropped()
{
    QFETCH(QJsonValue, chunk);
    deliver(chunk);
    QVERIFY(m_host->chunks().isEmpty());
}

void tst_Service::fileOfAChunkIsDownloadedByARequest()
{
    deliver(QJsonObject{{QStringLiteral("exchange"), QStringLiteral("kavo-context-add-file")},
                        {QStringLiteral("body"),
                         QJsonObject{{QStringLiteral("context"), QStringLiteral("abc")},
                                     {QStringLiteral("filename"), QStringLiteral("x.txt")},
                                     {QStringLiteral("content"), QStringLiteral("aGVsbG8=")}}}});
    const auto answer = ask(Request::Get, QStringLiteral("/context/abc/file/x.txt"));
    QCOMPARE(answer.first, 200);
    QCOMPARE(answer.second, QByteArray("hello"));
}

void tst_Service::messageOfAChunkIsPolledAndAcknowledged()
{
    const QString events = QStringLiteral("/message/event");
    Exchange poll(m_plugin->strategy(), FakeRequest(Request::Get, events));
    poll.handle();
    QVERIFY(poll.calls().isEmpty());
    const QJsonObject message{{QStringLiteral("id"), QStringLiteral("m1")},
                              {QStringLiteral("title"), QStringLiteral("Title")},
                              {QStringLiteral("text"), QStringLiteral("Text")}};
    deliver(QJsonObject{{QStringLiteral("exchange"), QStringLiteral("kavo-context-add-messages")},
                        {QStringLiteral("messages"), QJsonArray{message}}});
    QCOMPARE(poll.response->statuses(), QVector<int>{200});
    const QJsonArray polled = QJsonDocument::fromJson(poll.response->body()).array();
    QCOMPARE(polled.size(), 1);
    QCOMPARE(polled.at(0).toObject().value(QLatin1String("id")),
             message.value(QLatin1String("id")));

    QCOMPARE(ask(Request::Post, QStringLiteral("/message"), "[\"m1\"]").first, 200);
    Exchange next(m_plugin->strategy(), FakeRequest(Request::Get, events));
    next.handle();
    QVERIFY(next.calls().isEmpty()); // nothing is left, so it waits
}

FAKEHOST_MAIN(tst_Service)
#include "tst_service.moc"
