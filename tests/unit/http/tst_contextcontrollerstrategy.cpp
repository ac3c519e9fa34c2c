#include "http/contextcontrollerstrategy.h"

#include "http/contextcontroller.h"
#include "http/contextcreatecontroller.h"
#include "http/contextcredentialscontroller.h"
#include "http/contexteventcontroller.h"
#include "http/contextfilegetcontroller.h"
#include "http/contextfilepostcontroller.h"
#include "http/contextformcontroller.h"
#include "http/messagecontroller.h"
#include "http/messageeventcontroller.h"
#include "modulefixture.h"

#include <QtTest/QTest>
#include <type_traits>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.controller");

/// The class of the controller that serves a request; empty when none does.
QString servedBy(Module &module, const FakeRequest &request)
{
    const Exchange exchange(module.strategy, request);
    http::Controller *controller = exchange.controller();
    if (dynamic_cast<ContextController *>(controller))
        return QStringLiteral("ContextController");
    if (dynamic_cast<ContextCreateController *>(controller))
        return QStringLiteral("ContextCreateController");
    if (dynamic_cast<ContextEventController *>(controller))
        return QStringLiteral("ContextEventController");
    if (dynamic_cast<ContextFileGetController *>(controller))
        return QStringLiteral("ContextFileGetController");
    if (dynamic_cast<ContextFilePostController *>(controller))
        return QStringLiteral("ContextFilePostController");
    if (dynamic_cast<ContextFormController *>(controller))
        return QStringLiteral("ContextFormController");
    if (dynamic_cast<ContextCredentialsController *>(controller))
        return QStringLiteral("ContextCredentialsController");
    if (dynamic_cast<MessageController *>(controller))
        return QStringLiteral("MessageController");
    if (dynamic_cast<MessageEventController *>(controller))
        return QStringLiteral("MessageEventController");
    return controller ? QStringLiteral("unknown") : QString();
}

const QVector<Request::HttpMethod> allMethods{
    Request::Delete,  Request::Get,     Request::Head,  Request::Post,  Request::Put,
    Request::Connect, Request::Options, Request::Trace, Request::Patch, Request::Unknown};

} // namespace

class TestContextControllerStrategy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void servesEachRouteWithItsMethodsOnly_data();
    void servesEachRouteWithItsMethodsOnly();
    void jsonRoutesTakeJsonOrNoContentTypeOnly_data();
    void jsonRoutesTakeJsonOrNoContentTypeOnly();
    void theOtherRoutesTakeAnyContentType_data();
    void theOtherRoutesTakeAnyContentType();
    void methodsAboveTheKnownOnesAreServedByNoRoute();
    void everyRequestGetsANewController();
    void longPollControllersAreObjectsFirst();
    void releasesTheRequestBeforeItReturns();
    void theHostSetLastIsHandedOn();
    void theSentMapIsEmptyAtFirst();
    void handsTheCapturedValuesToTheFileController();
    void logsTheMessageEventRoute();
    void logsTheMessageRouteBeforeTheTypeCheck();
    void logsNoOtherRoute();
};

void TestContextControllerStrategy::servesEachRouteWithItsMethodsOnly_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QMap<int, QString>>("served"); // class by method
    const auto row = [](const char *target, const QMap<int, QString> &served) {
        QTest::newRow(target) << QString::fromLatin1(target) << served;
    };
    const auto reads = [](const char *name) {
        const QString type = QString::fromLatin1(name);
        return QMap<int, QString>{{Request::Get, type}, {Request::Delete, type}};
    };
    const auto posts = [](const char *name) {
        return QMap<int, QString>{{Request::Post, QString::fromLatin1(name)}};
    };
    const QString context = QStringLiteral("ContextController");
    const QMap<int, QString> contexts{
        {Request::Get, context}, {Request::Put, context}, {Request::Delete, context}};

    row("/context/abc/file/x.pdf", reads("ContextFileGetController"));
    row("/context/abc/file/x.pdf?download=true&filename=y.pdf", reads("ContextFileGetController"));
    row("/context/abc/event", reads("ContextEventController"));
    row("/message/event", reads("MessageEventController"));
    row("/context/abc", contexts);
    row("/context/abc/", contexts);
    row("/context", posts("ContextCreateController"));
    row("/context/", posts("ContextCreateController"));
    row("/context/abc/file", posts("ContextFilePostController"));
    row("/context/abc/$form", posts("ContextFormController"));
    row("/context/abc$form", posts("ContextFormController"));
    row("/context/abc/credentials", posts("ContextCredentialsController"));
    row("/message", posts("MessageController"));
    row("/context/abc?x=1", {});
    row("/message/event/", {});
    row("/", {});
    row("", {});
}

void TestContextControllerStrategy::servesEachRouteWithItsMethodsOnly()
{
    QFETCH(QString, target);
    using Served = QMap<int, QString>;
    QFETCH(Served, served);
    Module module;
    for (const Request::HttpMethod method : allMethods)
        QCOMPARE(servedBy(module, {method, target}), served.value(method));
}

void TestContextControllerStrategy::jsonRoutesTakeJsonOrNoContentTypeOnly_data()
{
    QTest::addColumn<int>("method");
    QTest::addColumn<QString>("target");
    QTest::newRow("get") << int(Request::Get) << QStringLiteral("/context/abc");
    QTest::newRow("put") << int(Request::Put) << QStringLiteral("/context/abc");
    QTest::newRow("delete") << int(Request::Delete) << QStringLiteral("/context/abc");
    QTest::newRow("form") << int(Request::Post) << QStringLiteral("/context/abc/$form");
    QTest::newRow("credentials") << int(Request::Post)
                                 << QStringLiteral("/context/abc/credentials");
    QTest::newRow("message") << int(Request::Post) << QStringLiteral("/message");
}

void TestContextControllerStrategy::jsonRoutesTakeJsonOrNoContentTypeOnly()
{
    QFETCH(int, method);
    QFETCH(QString, target);
    Module module;
    const auto served = [&](const QString &type) {
        FakeRequest request(static_cast<Request::HttpMethod>(method), target);
        request.with(QStringLiteral("Content-Type"), type);
        return !servedBy(module, request).isEmpty();
    };
    QVERIFY(served(QString()));
    QVERIFY(served(QStringLiteral("application/json")));
    QVERIFY(!served(QStringLiteral("application/json; charset=utf-8")));
    QVERIFY(!served(QStringLiteral("application/json;")));
    QVERIFY(!served(QStringLiteral("Application/JSON")));
    QVERIFY(!served(QStringLiteral(" application/json")));
    QVERIFY(!served(QStringLiteral("text/plain")));
}

void TestContextControllerStrategy::theOtherRoutesTakeAnyContentType_data()
{
    QTest::addColumn<int>("method");
    QTest::addColumn<QString>("target");
    QTest::newRow("file get") << int(Request::Get) << QStringLiteral("/context/abc/file/x");
    QTest::newRow("event") << int(Request::Get) << QStringLiteral("/context/abc/event");
    QTest::newRow("message event") << int(Request::Get) << QStringLiteral("/message/event");
    QTest::newRow("create") << int(Request::Post) << QStringLiteral("/context");
    QTest::newRow("file post") << int(Request::Post) << QStringLiteral("/context/abc/file");
}

void TestContextControllerStrategy::theOtherRoutesTakeAnyContentType()
{
    QFETCH(int, method);
    QFETCH(QString, target);
    Module module;
    FakeRequest request(static_cast<Request::HttpMethod>(method), target);
    request.with(QStringLiteral("Content-Type"), QStringLiteral("text/plain; charset=utf-8"));
    QVERIFY(!servedBy(module, request).isEmpty());
}

void TestContextControllerStrategy::methodsAboveTheKnownOnesAreServedByNoRoute()
{
    Module module;
    for (const int number : {10, 11, 15}) { // as far as the enumeration reaches
        const auto method = static_cast<Request::HttpMethod>(number);
        QVERIFY(!module.strategy.createController(
            std::make_shared<FakeRequest>(method, QStringLiteral("/context/abc"))));
    }
}

void TestContextControllerStrategy::everyRequestGetsANewController()
{
    Module module;
    const auto request =
        std::make_shared<FakeRequest>(Request::Get, QStringLiteral("/context/abc"));
    const std::unique_ptr<http::Controller> first(module.strategy.createController(request));
    const std::unique_ptr<http::Controller> second(module.strategy.createController(request));
    QVERIFY(first && second);
    QVERIFY(first != second);
}

void TestContextControllerStrategy::longPollControllersAreObjectsFirst()
{
    static_assert(std::is_base_of_v<QObject, ContextEventController>);
    static_assert(std::is_base_of_v<QObject, MessageEventController>);
    static_assert(!std::is_base_of_v<QObject, ContextController>);
    Module module;
    for (const char *target : {"/context/abc/event", "/message/event"}) {
        const Exchange exchange(module.strategy, {Request::Get, QString::fromLatin1(target)});
        auto *object = dynamic_cast<QObject *>(exchange.controller());
        QVERIFY(object);
        QVERIFY(!object->parent());
        // The host is given the second base, which lies behind the first.
        QVERIFY(dynamic_cast<void *>(exchange.controller()) == static_cast<void *>(object));
        QVERIFY(static_cast<void *>(exchange.controller()) != static_cast<void *>(object));
    }
}

void TestContextControllerStrategy::releasesTheRequestBeforeItReturns()
{
    Module module;
    for (const char *target : {"/context/abc", "/context/abc/event", "/nowhere"}) {
        auto request = std::make_shared<FakeRequest>(Request::Get, QString::fromLatin1(target));
        const std::weak_ptr<FakeRequest> watch = request;
        // Inside the full expression the caller's parameter may live on, the strategy's must not.
        const auto alive = [&](http::Controller *controller) {
            delete controller;
            return !watch.expired();
        };
        QVERIFY(!alive(module.strategy.createController(std::move(request))));
    }
}

void TestContextControllerStrategy::theHostSetLastIsHandedOn()
{
    Module module;
    support::RecordingPublisher other;
    module.strategy.setHost(&other);
    Exchange(module.strategy, {Request::Post, QStringLiteral("/context/abc/credentials"), "[]"})
        .handle();
    QVERIFY(module.publisher.chunks().isEmpty());
    QCOMPARE(other.chunks().size(), 1);

    ContextControllerStrategy fresh(&module.contexts, &module.messages);
    Exchange exchange(fresh, {Request::Post, QStringLiteral("/context/abc/credentials"), "[]"});
    exchange.handle();
    QCOMPARE(exchange.response->statuses(), QVector<int>{200});
    QCOMPARE(other.chunks().size(), 1);
}

void TestContextControllerStrategy::theSentMapIsEmptyAtFirst()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1})"));
    QVERIFY(module.strategy.sentContexts().isEmpty());
    // Routing alone does not touch it.
    const Exchange exchange(module.strategy, {Request::Get, QStringLiteral("/context/abc/event")});
    QVERIFY(exchange.isServed());
    QVERIFY(module.strategy.sentContexts().isEmpty());
}

void TestContextControllerStrategy::handsTheCapturedValuesToTheFileController()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy,
             {Request::Get,
              QStringLiteral("/context/Abc9/file/a%2520b.pdf?filename=y.pdf&download=true")})
        .handle();
    QVERIFY(log.contains(QtDebugMsg,
                         QStringLiteral("ch.brenlo.kavo-service.context.file.get.controller"),
                         QStringLiteral("Accessing file \"a b.pdf\" within context \"Abc9\" .")));
}

void TestContextControllerStrategy::logsTheMessageEventRoute()
{
    Module module;
    support::LogCapture log;
    servedBy(module, {Request::Get, QStringLiteral("/message/event")});
    QCOMPARE(debugLines(log, category),
             QStringList{QStringLiteral("Received request matching message event polling URL")});
}

void TestContextControllerStrategy::logsTheMessageRouteBeforeTheTypeCheck()
{
    Module module;
    support::LogCapture log;
    FakeRequest request(Request::Post, QStringLiteral("/message"));
    request.with(QStringLiteral("Content-Type"), QStringLiteral("text/plain"));
    QCOMPARE(servedBy(module, request), QString());
    QCOMPARE(debugLines(log, category),
             QStringList{QStringLiteral("Received request matching message URL")});
}

void TestContextControllerStrategy::logsNoOtherRoute()
{
    Module module;
    support::LogCapture log;
    for (const Request::HttpMethod method : allMethods) {
        for (const char *target :
             {"/context", "/context/abc", "/context/abc/file", "/context/a/event",
              "/context/a/file/b", "/context/a/$form", "/message/event/"})
            servedBy(module, {method, QString::fromLatin1(target)});
    }
    servedBy(module, {Request::Get, QStringLiteral("/message")});
    servedBy(module, {Request::Post, QStringLiteral("/message/event")});
    QCOMPARE(log.lines().size(), 0);
}

QTEST_GUILESS_MAIN(TestContextControllerStrategy)
#include "tst_contextcontrollerstrategy.moc"
