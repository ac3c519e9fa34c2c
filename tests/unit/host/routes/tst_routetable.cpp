#include "routes/answers.h"
#include "routes/routetable.h"
#include "support/fakehttp.h"
#include "support/fakestream.h"

#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

using namespace host;
using http::server::Request;

namespace {

RouteTable::Handler says(const QString &line)
{
    return [line](const Request &, http::server::Response &response) {
        answerText(response, 200, line);
    };
}

/// Null when the table leaves the request to others.
std::shared_ptr<support::FakeStream> serve(RouteTable &table, Request::HttpMethod method,
                                           const QString &target)
{
    const auto request = std::make_shared<support::FakeRequest>(method, target);
    const std::unique_ptr<http::Controller> controller(table.createController(request));
    if (!controller)
        return nullptr;
    auto response = std::make_shared<support::FakeStream>();
    controller->setRequest(request);
    controller->setResponse(response);
    controller->handle();
    return response;
}

} // namespace

class RouteTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void servesItsPathsByMethod();
    void headIsServedWhereGetIs();
    void theQueryIsNoPartOfThePath();
    void leavesOtherPathsToTheModule_data();
    void leavesOtherPathsToTheModule();
    void anEncodedLetterIsTheLetter();
    void aWrongMethodIsRefusedWithAllow_data();
    void aWrongMethodIsRefusedWithAllow();
    void aFactoryMakesAControllerPerRequest();
    void answersTextInOneLine();
    void answersJsonThatNoCacheKeeps();
};

void RouteTableTest::servesItsPathsByMethod()
{
    RouteTable table;
    table.add(Request::Get, QStringLiteral("/a"), says(QStringLiteral("got")));
    table.add(Request::Post, QStringLiteral("/a"), says(QStringLiteral("posted")));
    QCOMPARE(serve(table, Request::Get, QStringLiteral("/a"))->body(), QByteArray("got\n"));
    QCOMPARE(serve(table, Request::Post, QStringLiteral("/a"))->body(), QByteArray("posted\n"));
}

void RouteTableTest::headIsServedWhereGetIs()
{
    RouteTable table;
    table.add(Request::Get, QStringLiteral("/a"), says(QStringLiteral("got")));
    QCOMPARE(serve(table, Request::Head, QStringLiteral("/a"))->status(), 200);
}

void RouteTableTest::theQueryIsNoPartOfThePath()
{
    RouteTable table;
    table.add(Request::Get, QStringLiteral("/a"), says(QStringLiteral("got")));
    QVERIFY(serve(table, Request::Get, QStringLiteral("/a?b=/c")));
}

void RouteTableTest::leavesOtherPathsToTheModule_data()
{
    QTest::addColumn<QString>("target");
    for (const char *target : {"/", "/exchange", "/exchange/chunks/", "/exchange/chunks/x",
                               "/exchange%2Fchunks", "/Exchange/chunks", "//exchange/chunks",
                               "/context/exchange/chunks", "/x?/exchange/chunks"})
        QTest::newRow(target) << QString::fromLatin1(target);
}

void RouteTableTest::leavesOtherPathsToTheModule()
{
    QFETCH(QString, target);
    RouteTable table;
    table.add(Request::Get, QStringLiteral("/exchange/chunks"), says(QStringLiteral("got")));
    QVERIFY(!serve(table, Request::Get, target));
    QVERIFY(!serve(table, Request::Delete, target));
}

void RouteTableTest::anEncodedLetterIsTheLetter()
{
    RouteTable table;
    table.add(Request::Get, QStringLiteral("/health"), says(QStringLiteral("got")));
    QVERIFY(serve(table, Request::Get, QStringLiteral("/he%61lth")));
}

void RouteTableTest::aWrongMethodIsRefusedWithAllow_data()
{
    QTest::addColumn<int>("method");
    QTest::newRow("DELETE") << int(Request::Delete);
    QTest::newRow("PUT") << int(Request::Put);
    QTest::newRow("OPTIONS") << int(Request::Options);
    QTest::newRow("TRACE") << int(Request::Trace);
    QTest::newRow("PATCH") << int(Request::Patch);
    QTest::newRow("unknown") << int(Request::Unknown);
}

void RouteTableTest::aWrongMethodIsRefusedWithAllow()
{
    QFETCH(int, method);
    RouteTable table;
    table.add(Request::Post, QStringLiteral("/both"), says(QString()));
    table.add(Request::Get, QStringLiteral("/both"), says(QString()));
    table.add(Request::Get, QStringLiteral("/one"), says(QString()));
    const auto both = serve(table, Request::HttpMethod(method), QStringLiteral("/both"));
    QCOMPARE(both->status(), 405);
    QCOMPARE(both->header(QStringLiteral("Allow")), QStringLiteral("GET, HEAD, POST"));
    const auto one = serve(table, Request::HttpMethod(method), QStringLiteral("/one"));
    QCOMPARE(one->status(), 405);
    QCOMPARE(one->header(QStringLiteral("Allow")), QStringLiteral("GET, HEAD"));
}

void RouteTableTest::aFactoryMakesAControllerPerRequest()
{
    class Silent final : public http::Controller
    {
        void handle() override {}
    };
    int made = 0;
    RouteTable table;
    table.add(Request::Get, QStringLiteral("/a"), RouteTable::Factory([&made] {
                  ++made;
                  return new Silent;
              }));
    QCOMPARE(serve(table, Request::Get, QStringLiteral("/a"))->ends(), 0);
    QCOMPARE(serve(table, Request::Get, QStringLiteral("/a"))->ends(), 0);
    QCOMPARE(made, 2);
}

void RouteTableTest::answersTextInOneLine()
{
    support::FakeStream response;
    answerText(response, 400, QStringLiteral("caf\u00e9"));
    QCOMPARE(response.status(), 400);
    QCOMPARE(response.header(QStringLiteral("Content-Type")),
             QStringLiteral("text/plain; charset=utf-8"));
    QCOMPARE(response.body(), QByteArray("caf\xc3\xa9\n"));
    QCOMPARE(response.ends(), 1);
}

void RouteTableTest::answersJsonThatNoCacheKeeps()
{
    support::FakeStream response;
    answerJson(response, 202, {{QStringLiteral("delivered"), 0}});
    QCOMPARE(response.status(), 202);
    QCOMPARE(response.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(response.header(QStringLiteral("Cache-Control")), QStringLiteral("no-store"));
    QCOMPARE(response.body(), QByteArray("{\"delivered\":0}"));
    QCOMPARE(response.ends(), 1);
}

QTEST_APPLESS_MAIN(RouteTableTest)
#include "tst_routetable.moc"
