#include "broker/amqpclient.h"
#include "broker/brokerhost.h"
#include "support/deadline.h"
#include "support/eventstream.h"

#include <QtCore/QJsonDocument>
#include <QtTest/QTest>

#include <set>
#include <vector>

using namespace support;
using namespace std::chrono_literals;

namespace {

const QString workstation = QStringLiteral("ws1");

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject json(const QByteArray &text)
{
    return QJsonDocument::fromJson(text).object();
}

/// One way to the module and back. What is published is on it from the construction on.
class Way
{
public:
    Way() = default;
    Way(const Way &) = delete;
    Way &operator=(const Way &) = delete;
    virtual ~Way() = default;

    virtual bool deliver(const QByteArray &exchange, const QByteArray &members) = 0;
    /// The same, asking for a reply with that correlation id.
    virtual bool ask(const QByteArray &exchange, const QByteArray &members,
                     const QByteArray &id) = 0;
    virtual QJsonObject nextReply() = 0;
    virtual QJsonObject nextEvent() = 0; ///< of those without an "exchange"
    virtual QJsonObject nextCreated() = 0;
    /// Hands over what is no chunk; true when it was refused.
    virtual bool refuses(const QByteArray &body) = 0;
};

class EmbeddedWay final : public Way
{
public:
    explicit EmbeddedWay(quint16 port)
        : m_port(port)
        , m_client(port)
        , m_replies(port, "?only=published")
        , m_events(port, "?only=published")
        , m_created(port, "?only=published")
    {
    }

    bool deliver(const QByteArray &exchange, const QByteArray &members) override
    {
        return post("{\"exchange\":\"" + exchange + "\"" + members + '}') == 202;
    }
    bool ask(const QByteArray &exchange, const QByteArray &members, const QByteArray &id) override
    {
        return deliver(exchange,
                       R"(,"properties":{"reply-to":"exchange:answers","correlation-id":")" + id +
                           "\"}" + members);
    }
    QJsonObject nextReply() override { return next(&m_replies, QStringLiteral("answers")); }
    QJsonObject nextEvent() override { return next(&m_events, QString()); }
    QJsonObject nextCreated() override
    {
        return next(&m_created, QStringLiteral("context-created"));
    }
    bool refuses(const QByteArray &body) override { return post(body) == 400; }

private:
    int post(const QByteArray &body)
    {
        return m_client.exchange("POST", "/exchange/chunks", {}, body).status;
    }
    static QJsonObject next(EventStream *stream, const QString &exchange)
    {
        for (StreamEvent event = stream->next(); !event.event.isNull(); event = stream->next()) {
            const QJsonValue name = event.json().value(QLatin1String("exchange"));
            if (exchange.isNull() ? name.isUndefined() : name.toString() == exchange)
                return event.json();
        }
        return {};
    }

    quint16 m_port;
    HttpClient m_client;
    EventStream m_replies;
    EventStream m_events;
    EventStream m_created;
};

class BrokerWay final : public Way
{
public:
    explicit BrokerWay(const BrokerProcess &broker)
        : m_client(broker.port())
        , m_replies(broker.port())
        , m_events(broker.port())
        , m_created(broker.port())
    {
        m_replyQueue = m_replies.declareQueue();
        m_replies.consume(m_replyQueue);
        follow(&m_events, "kavo-context-events");
        follow(&m_created, "context-created");
    }

    bool deliver(const QByteArray &exchange, const QByteArray &members) override
    {
        return m_client.publish(exchange, "ws1", bodyOf(members));
    }
    bool ask(const QByteArray &exchange, const QByteArray &members, const QByteArray &id) override
    {
        return m_client.publish(exchange, "ws1", bodyOf(members), m_replyQueue, id);
    }
    QJsonObject nextReply() override { return next(&m_replies); }
    QJsonObject nextEvent() override { return next(&m_events); }
    QJsonObject nextCreated() override { return next(&m_created); }
    bool refuses(const QByteArray &body) override
    {
        // Rejected without requeue: it does not come back, and what follows it is handled.
        return m_client.publish("kavo-context-rpc-set", "ws1", body) &&
               ask("kavo-context-rpc-create", R"(,"body":{})", "after") && !nextReply().isEmpty();
    }

private:
    static void follow(AmqpClient *client, const QByteArray &exchange)
    {
        const QByteArray queue = client->declareQueue();
        client->bind(queue, exchange, "#");
        client->consume(queue);
    }
    static QByteArray bodyOf(const QByteArray &members) { return '{' + members.mid(1) + '}'; }
    static QJsonObject next(AmqpClient *client)
    {
        const auto message = client->next();
        return message ? message->json() : QJsonObject();
    }

    AmqpClient m_client;
    AmqpClient m_replies;
    AmqpClient m_events;
    AmqpClient m_created;
    QByteArray m_replyQueue;
};

QString correlationOf(const QJsonObject &chunk)
{
    return chunk.value(QLatin1String("properties"))
        .toObject()
        .value(QLatin1String("correlation-id"))
        .toString();
}

} // namespace

/// The exchanges: one set of tests for the embedded one and the broker, then what only a broker
/// has, then clients that nobody here wrote, then many workstations.
class BrokerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void chunkReachesTheModule_data() { ways(); }
    void chunkReachesTheModule();
    void requestIsAnsweredWithItsCorrelationId_data() { ways(); }
    void requestIsAnsweredWithItsCorrelationId();
    void repliesComeInTheOrderOfTheRequests_data() { ways(); }
    void repliesComeInTheOrderOfTheRequests();
    void chunksAreHandledInOrder_data() { ways(); }
    void chunksAreHandledInOrder();
    void newContextsAreToldUnderTheirExchange_data() { ways(); }
    void newContextsAreToldUnderTheirExchange();
    void whatIsNoObjectIsRefused_data();
    void whatIsNoObjectIsRefused();
    void largeChunkArrivesWhole_data() { ways(); }
    void largeChunkArrivesWhole();

    void queueIsBoundToEveryConsumedExchangeWithThreeKeys();
    void furtherExchangesAreConsumed();
    void eventsCarryTheWorkstationInTheRoutingKey();
    void chunksOfTheEmbeddedExchangeDoNotGoToTheBroker();
    void localReplyGoesToTheBrokersExchangeOfThatName();

    void amqpToolsPublishAndRead();
    void amqplibAsksAsTheTutorialDoes_data();
    void amqplibAsksAsTheTutorialDoes();

    void manyWorkstationsShareOneBroker_data();
    void manyWorkstationsShareOneBroker();

private:
    static void ways();
    std::unique_ptr<Way> way() const;

    std::unique_ptr<BrokerProcess> m_broker;
    std::unique_ptr<HostProcess> m_host;
};

void BrokerTest::initTestCase()
{
    m_broker = std::make_unique<BrokerProcess>();
    QVERIFY(m_broker->start());
    const QStringList options{
        QStringLiteral("--consume"), QStringLiteral("site-news"), QStringLiteral("--consume"),
        QStringLiteral("kavo-context-rpc-set"), // one of the ten: named twice, bound once
    };
    m_host = std::make_unique<HostProcess>(brokerSetup(*m_broker, workstation, options));
    QVERIFY(m_host->start());
    QVERIFY(waitForBroker(m_host->port()));
}

void BrokerTest::cleanupTestCase()
{
    if (m_host) {
        QVERIFY2(!m_host->log().contains("guest:"), "a password in the log");
        m_host.reset();
    }
    m_broker.reset();
}

void BrokerTest::ways()
{
    QTest::addColumn<bool>("isBroker");
    QTest::newRow("embedded") << false;
    QTest::newRow("RabbitMQ") << true;
}

std::unique_ptr<Way> BrokerTest::way() const
{
    QFETCH(bool, isBroker);
    if (isBroker)
        return std::make_unique<BrokerWay>(*m_broker);
    return std::make_unique<EmbeddedWay>(m_host->port());
}

void BrokerTest::chunkReachesTheModule()
{
    const auto exchange = way();
    const QByteArray id = QByteArray("reached") + QTest::currentDataTag()[0];
    QVERIFY(exchange->deliver("kavo-context-rpc-set",
                              R"(,"body":{"_id":")" + id + R"(","patient":"7"})"));
    const QByteArray page = waitForPage(m_host->port(), "/context/" + id);
    QCOMPARE(json(page).value(QLatin1String("patient")).toString(), QStringLiteral("7"));
}

void BrokerTest::requestIsAnsweredWithItsCorrelationId()
{
    const auto exchange = way();
    QVERIFY(exchange->ask("kavo-context-rpc-create", R"(,"body":{"a":1})", "my-id"));
    const QJsonObject reply = exchange->nextReply();
    QCOMPARE(correlationOf(reply), QStringLiteral("my-id"));
    const QJsonObject body = reply.value(QLatin1String("body")).toObject();
    QCOMPARE(body.value(QLatin1String("a")).toInt(), 1);
    QVERIFY(!body.value(QLatin1String("_id")).toString().isEmpty());
}

void BrokerTest::repliesComeInTheOrderOfTheRequests()
{
    const auto exchange = way();
    constexpr int requests = 200;
    for (int i = 0; i < requests; ++i)
        QVERIFY(exchange->ask("kavo-context-rpc-set", R"(,"body":{"_id":"ordered","n":1})",
                              QByteArray::number(i)));
    for (int i = 0; i < requests; ++i)
        QCOMPARE(correlationOf(exchange->nextReply()), QString::number(i));
}

void BrokerTest::chunksAreHandledInOrder()
{
    const auto exchange = way();
    constexpr int chunks = 200;
    for (int i = 0; i < chunks; ++i)
        QVERIFY(exchange->deliver("kavo-context-rpc-set", R"(,"body":{"_id":"counted","n":)" +
                                                              QByteArray::number(i) + '}'));
    for (int i = 0; i < chunks; ++i) {
        const QJsonObject data = exchange->nextEvent().value(QLatin1String("data")).toObject();
        QCOMPARE(data.value(QLatin1String("event")).toString(), QStringLiteral("context-changed"));
        QCOMPARE(data.value(QLatin1String("data")).toObject().value(QLatin1String("n")).toInt(-1),
                 i);
    }
}

void BrokerTest::newContextsAreToldUnderTheirExchange()
{
    const auto exchange = way();
    QVERIFY(exchange->ask("kavo-context-rpc-create", R"(,"body":{})", "c"));
    const QJsonObject created = exchange->nextCreated();
    QCOMPARE(created.value(QLatin1String("exchange")).toString(),
             QStringLiteral("context-created"));
    QCOMPARE(
        created.value(QLatin1String("data")).toObject().value(QLatin1String("contextId")),
        exchange->nextReply().value(QLatin1String("body")).toObject().value(QLatin1String("_id")));
}

void BrokerTest::whatIsNoObjectIsRefused_data()
{
    QTest::addColumn<bool>("isBroker");
    QTest::addColumn<QByteArray>("body");
    for (const bool isBroker : {false, true}) {
        const char *way = isBroker ? "RabbitMQ" : "embedded";
        QTest::addRow("%s, text", way) << isBroker << QByteArray("hello");
        QTest::addRow("%s, an array of numbers", way) << isBroker << QByteArray("[1]");
        QTest::addRow("%s, half an object", way) << isBroker << QByteArray("{\"a\":");
    }
}

void BrokerTest::whatIsNoObjectIsRefused()
{
    QFETCH(QByteArray, body);
    QVERIFY(way()->refuses(body));
    QTRY_COMPARE(AmqpClient(m_broker->port()).count("kavo-context.ws1"), 0);
}

void BrokerTest::largeChunkArrivesWhole()
{
    const auto exchange = way();
    const QByteArray text(1000 * 1000, 'x');
    QVERIFY(exchange->ask("kavo-context-rpc-set",
                          R"(,"body":{"_id":"large","text":")" + text + "\"}", "l"));
    QCOMPARE(exchange->nextReply()
                 .value(QLatin1String("body"))
                 .toObject()
                 .value(QLatin1String("text"))
                 .toString()
                 .size(),
             text.size());
}

void BrokerTest::queueIsBoundToEveryConsumedExchangeWithThreeKeys()
{
    AmqpClient client(m_broker->port());
    const QByteArray replies = client.declareQueue();
    QVERIFY(client.consume(replies));
    // The requests are answered; of the others the queue's emptiness shows that they were taken.
    for (const char *exchange :
         {"kavo-context-rpc-create", "kavo-context-rpc-set", "kavo-context-rpc-update",
          "kavo-context-rpc-delete", "kavo-context-rpc-get-files"}) {
        for (const char *key : {"ws1", "all", ""}) {
            QVERIFY(client.publish(exchange, key, R"({"body":{"_id":"k","context":"k"}})", replies,
                                   QByteArray(exchange) + key));
            const auto reply = client.next();
            QVERIFY2(reply, exchange);
            QCOMPARE(reply->correlationId, QByteArray(exchange) + key);
            QCOMPARE(reply->exchange, QByteArray());
            QCOMPARE(reply->contentType, QByteArray("application/json"));
            QCOMPARE(reply->deliveryMode, 2);
        }
        QVERIFY(client.publish(exchange, "ws2", R"({"body":{"_id":"k"}})", replies, "not for us"));
    }
    EventStream stream(m_host->port(), "?only=delivered");
    for (const char *exchange :
         {"kavo-context-add-file", "kavo-context-add-matching-items", "kavo-context-add-messages",
          "kavo-context-add-action-requests", "kavo-context-attachments-remove"}) {
        QVERIFY(client.publish(exchange, "all", "{}"));
        QCOMPARE(stream.next().json().value(QLatin1String("exchange")).toString(),
                 QLatin1String(exchange));
    }
}

void BrokerTest::furtherExchangesAreConsumed()
{
    EventStream stream(m_host->port(), "?only=delivered");
    AmqpClient client(m_broker->port());
    QVERIFY(client.publish("site-news", "all", R"({"n":1})"));
    QCOMPARE(stream.next().json(), json(R"({"exchange":"site-news","n":1})"));
}

void BrokerTest::eventsCarryTheWorkstationInTheRoutingKey()
{
    AmqpClient client(m_broker->port());
    const QByteArray queue = client.declareQueue();
    QVERIFY(client.bind(queue, "kavo-context-events", "ws1.context-changed"));
    QVERIFY(client.bind(queue, "context-created", "ws1.context-created"));
    QVERIFY(client.bind(queue, "context-removed", "ws1.context-removed"));
    QVERIFY(client.consume(queue));
    QVERIFY(client.publish("kavo-context-rpc-set", "ws1", R"({"body":{"_id":"keyed","a":1}})"));
    QVERIFY(client.publish("kavo-context-rpc-delete", "ws1", R"({"body":{"context":"keyed"}})"));
    std::set<QByteArray> keys;
    for (int i = 0; i < 2; ++i) {
        const auto message = client.next();
        QVERIFY(message);
        keys.insert(message->routingKey);
        QCOMPARE(message->contentType, QByteArray("application/json"));
        QCOMPARE(message->deliveryMode, 2);
        QVERIFY(message->correlationId.isNull());
    }
    QCOMPARE(keys, (std::set<QByteArray>{"ws1.context-changed", "ws1.context-removed"}));
}

void BrokerTest::chunksOfTheEmbeddedExchangeDoNotGoToTheBroker()
{
    AmqpClient client(m_broker->port());
    const QByteArray queue = client.declareQueue();
    QVERIFY(client.bind(queue, "kavo-context-rpc-set", "#"));
    QVERIFY(client.bind(queue, "kavo-context-events", "#"));
    QVERIFY(client.consume(queue));
    EmbeddedWay embedded(m_host->port());
    QVERIFY(embedded.deliver("kavo-context-rpc-set", R"(,"body":{"_id":"local","a":1})"));
    const auto message = client.next();
    QVERIFY(message);
    QCOMPARE(message->exchange, QByteArray("kavo-context-events"));
}

void BrokerTest::localReplyGoesToTheBrokersExchangeOfThatName()
{
    AmqpClient client(m_broker->port());
    QVERIFY(client.declareExchange("answers-of-a-service", "fanout"));
    const QByteArray queue = client.declareQueue();
    QVERIFY(client.bind(queue, "answers-of-a-service", ""));
    QVERIFY(client.consume(queue));
    HttpClient local(m_host->port());
    const auto ask = [&local](const QByteArray &name) {
        return local
            .exchange("POST", "/exchange/chunks", {},
                      R"({"exchange":"kavo-context-rpc-create","body":{},"properties":)"
                      R"({"correlation-id":3,"reply-to":"exchange:)" +
                          name + "\"}}")
            .status;
    };
    QCOMPARE(ask("there-is-no-such-exchange"), 202); // not on the broker: that is no harm
    QCOMPARE(ask("answers-of-a-service"), 202);
    const auto message = client.next();
    QVERIFY(message);
    QCOMPARE(message->routingKey, QByteArray("ws1.answers-of-a-service"));
    QCOMPARE(message->correlationId, QByteArray("3"));
    QVERIFY(m_host->waitForLog("there-is-no-such-exchange"));
}

void BrokerTest::amqpToolsPublishAndRead()
{
    const QStringList server{QStringLiteral("--url"), m_broker->url()};
    AmqpClient client(m_broker->port());
    const QByteArray queue = "tools-replies";
    QCOMPARE(client.declareQueue(queue), queue);
    QProcess publish;
    publish.start(QStringLiteral("amqp-publish"),
                  server + QStringList{QStringLiteral("-e"), QStringLiteral("kavo-context-rpc-set"),
                                       QStringLiteral("-r"), QStringLiteral("all"),
                                       QStringLiteral("-t"), QString::fromLatin1(queue),
                                       QStringLiteral("-b"),
                                       QStringLiteral(R"({"body":{"_id":"tool","a":5}})")});
    QVERIFY(publish.waitForFinished(int(patience.count())));
    QVERIFY2(publish.exitCode() == 0, publish.readAllStandardError().constData());
    QProcess consume;
    consume.start(QStringLiteral("amqp-consume"),
                  server + QStringList{QStringLiteral("-q"), QString::fromLatin1(queue),
                                       QStringLiteral("-c"), QStringLiteral("1"),
                                       QStringLiteral("cat")});
    QVERIFY(consume.waitForFinished(int(patience.count())));
    const QJsonObject reply = json(consume.readAllStandardOutput());
    QCOMPARE(compact(reply.value(QLatin1String("body")).toObject()), QByteArray(R"({"a":5})"));
    QVERIFY(client.deleteQueue(queue));
}

void BrokerTest::amqplibAsksAsTheTutorialDoes_data()
{
    QTest::addColumn<QString>("replyQueue");
    QTest::newRow("exclusive reply queue") << QStringLiteral("exclusive");
    QTest::newRow("direct reply-to") << QStringLiteral("direct");
}

void BrokerTest::amqplibAsksAsTheTutorialDoes()
{
    QFETCH(QString, replyQueue);
    QProcess node;
    node.setWorkingDirectory(QStringLiteral(KAVO_BROKER_NODE));
    node.start(QStringLiteral("node"), {QStringLiteral("rpc.js"), m_broker->url(), replyQueue,
                                        workstation, QStringLiteral("kavo-context-rpc-set"),
                                        QStringLiteral(R"({"body":{"_id":"node","a":1}})"),
                                        QStringLiteral("kavo-context-rpc-update"),
                                        QStringLiteral(R"({"body":{"_id":"node","b":2}})"),
                                        QStringLiteral("kavo-context-rpc-delete"),
                                        QStringLiteral(R"({"body":{"context":"node"}})")});
    QVERIFY(node.waitForFinished(int(patience.count())));
    QVERIFY2(node.exitCode() == 0, node.readAllStandardError().constData());
    const char *const bodies[] = {R"({"a":1})", R"({"b":2})", R"({"context":"node"})"};
    for (const char *body : bodies) {
        const QJsonObject reply = json(node.readLine());
        const QJsonObject chunk = reply.value(QLatin1String("chunk")).toObject();
        QCOMPARE(compact(chunk.value(QLatin1String("body")).toObject()), QByteArray(body));
        QCOMPARE(reply.value(QLatin1String("contentType")).toString(),
                 QStringLiteral("application/json"));
        QVERIFY(!reply.value(QLatin1String("asked")).toString().isEmpty());
    }
}

void BrokerTest::manyWorkstationsShareOneBroker_data()
{
    QTest::addColumn<int>("hosts");
    QTest::newRow("two") << 2;
    QTest::newRow("fifty") << 50;
}

void BrokerTest::manyWorkstationsShareOneBroker()
{
    QFETCH(int, hosts);
    const auto nameOf = [hosts](int i) { return QStringLiteral("desk%1of%2").arg(i).arg(hosts); };
    std::vector<std::unique_ptr<HostProcess>> all;
    for (int i = 0; i < hosts; ++i) {
        all.push_back(std::make_unique<HostProcess>(brokerSetup(*m_broker, nameOf(i))));
        QVERIFY(all.back()->start());
    }
    for (const auto &host : all)
        QVERIFY(waitForBroker(host->port()));

    AmqpClient client(m_broker->port());
    const QByteArray events = client.declareQueue();
    QVERIFY(client.bind(events, "kavo-context-events", "*.context-changed"));
    QVERIFY(client.consume(events));
    for (int i = 0; i < hosts; ++i) {
        QVERIFY(client.publish("kavo-context-rpc-set", nameOf(i).toUtf8(),
                               R"({"body":{"_id":"one","n":1}})"));
        const auto event = client.next();
        QVERIFY(event);
        QCOMPARE(event->routingKey, nameOf(i).toUtf8() + ".context-changed");
    }
    // The host of the other tests sees it as a change in either row.
    QVERIFY(client.publish("kavo-context-rpc-set", "all",
                           R"({"body":{"_id":"every","n":)" + QByteArray::number(hosts) + "}}"));
    std::set<QByteArray> reached; // each of them, and the host of the other tests
    for (int i = 0; i <= hosts; ++i) {
        const auto event = client.next();
        QVERIFY(event);
        reached.insert(event->routingKey);
    }
    QCOMPARE(int(reached.size()), hosts + 1);
    // Nobody got what was another's: had one, its event would have come before this one.
    QVERIFY(client.publish("kavo-context-rpc-set", "ws1",
                           R"({"body":{"_id":"last","n":)" + QByteArray::number(hosts) + "}}"));
    const auto last = client.next();
    QVERIFY(last);
    QCOMPARE(last->routingKey, QByteArray("ws1.context-changed"));
    for (const auto &host : all)
        host->terminate();
}

QTEST_GUILESS_MAIN(BrokerTest)
#include "tst_broker.moc"
