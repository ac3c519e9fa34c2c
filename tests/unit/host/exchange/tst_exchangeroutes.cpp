#include "exchange/chunkhub.h"
#include "exchange/deliveryqueue.h"
#include "exchange/embeddedexchange.h"
#include "exchange/exchangeroutes.h"
#include "routes/routetable.h"
#include "support/fakehttp.h"
#include "support/fakestream.h"

#include <plugin/chunkupdatelistener.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtTest/QtTest>

using namespace host;
using http::server::Request;

namespace {

class RecordingListener final : public ChunkUpdateListener
{
public:
    void chunkUpdate(const QJsonValue &chunk) override { chunks.append(chunk); }

    QJsonArray chunks;
};

/// The exchange's routes with a listener behind them.
struct Routes
{
    Routes()
    {
        hub.addExchange(&embedded);
        hub.subscribe(&listener);
        addExchangeRoutes(&table, &queue, &embedded);
    }

    std::shared_ptr<support::FakeStream> serve(Request::HttpMethod method,
                                               const QByteArray &body = {})
    {
        auto response = std::make_shared<support::FakeStream>();
        const auto request = std::make_shared<support::FakeRequest>(
            method, QStringLiteral("/exchange/chunks"), body);
        const std::unique_ptr<http::Controller> controller(table.createController(request));
        controller->setRequest(request);
        controller->setResponse(response);
        controller->handle();
        return response;
    }

    EmbeddedExchange embedded{1};
    ChunkHub hub;
    DeliveryQueue queue{&hub};
    RecordingListener listener;
    RouteTable table;
};

} // namespace

class ExchangeRoutesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anObjectIsDelivered();
    void aListIsDeliveredInOrder();
    void anEmptyListDeliversNothing();
    void nothingIsDeliveredWhenOneElementIsWrong();
    void whatIsDeliveredIsFollowed();
    void getFollows();
    void anotherMethodIsRefused();
};

void ExchangeRoutesTest::anObjectIsDelivered()
{
    Routes routes;
    const auto response = routes.serve(Request::Post, R"({"exchange":"a","body":{"b":1}})");
    QCOMPARE(response->status(), 202);
    QCOMPARE(response->header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(response->body(), QByteArray("{\"delivered\":1}"));
    QCOMPARE(QJsonDocument(routes.listener.chunks).toJson(QJsonDocument::Compact),
             QByteArray(R"([{"body":{"b":1},"exchange":"a"}])"));
}

void ExchangeRoutesTest::aListIsDeliveredInOrder()
{
    Routes routes;
    const auto response = routes.serve(Request::Post, R"([{"n":1},{"n":2}])");
    QCOMPARE(response->body(), QByteArray("{\"delivered\":2}"));
    QCOMPARE(QJsonDocument(routes.listener.chunks).toJson(QJsonDocument::Compact),
             QByteArray(R"([{"n":1},{"n":2}])"));
}

void ExchangeRoutesTest::anEmptyListDeliversNothing()
{
    Routes routes;
    const auto response = routes.serve(Request::Post, "[]");
    QCOMPARE(response->status(), 202);
    QCOMPARE(response->body(), QByteArray("{\"delivered\":0}"));
    QVERIFY(routes.listener.chunks.isEmpty());
}

void ExchangeRoutesTest::nothingIsDeliveredWhenOneElementIsWrong()
{
    Routes routes;
    const auto response = routes.serve(Request::Post, R"([{"n":1},2])");
    QCOMPARE(response->status(), 400);
    QVERIFY(
        response->header(QStringLiteral("Content-Type")).startsWith(QLatin1String("text/plain")));
    QCOMPARE(response->body(),
             QByteArray("Element 1 at offset 9 is a number, not a JSON object\n"));
    QVERIFY(routes.listener.chunks.isEmpty());
    QVERIFY(routes.embedded.since(0).events.empty());
}

void ExchangeRoutesTest::whatIsDeliveredIsFollowed()
{
    Routes routes;
    routes.serve(Request::Post, R"({"n":1})");
    const auto backlog = routes.embedded.since(0);
    QCOMPARE(backlog.events.size(), std::size_t(1));
    QCOMPARE(backlog.events.front()->text(),
             QByteArray("id: 1\nevent: delivered\ndata: {\"n\":1}\n\n"));
}

void ExchangeRoutesTest::getFollows()
{
    Routes routes;
    QCOMPARE(routes.serve(Request::Get)->streamed(), QByteArray(": connected\n\n"));
    QCOMPARE(routes.embedded.followers(), 0); // gone with its controller
}

void ExchangeRoutesTest::anotherMethodIsRefused()
{
    Routes routes;
    const auto response = routes.serve(Request::Delete);
    QCOMPARE(response->status(), 405);
    QCOMPARE(response->header(QStringLiteral("Allow")), QStringLiteral("GET, HEAD, POST"));
}

QTEST_APPLESS_MAIN(ExchangeRoutesTest)
#include "tst_exchangeroutes.moc"
