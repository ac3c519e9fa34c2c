#include "http/contextcontroller.h"

#include "modulefixture.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.controller");
const QString path = QStringLiteral("/context/abc");

} // namespace

class TestContextController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void getOfAPresentContextAnswersItAsJson();
    void getOfAnUnknownIdAnswers404WithoutBodyAndContentType();
    void anIdThatWasOnlyReadIsStillUnknown();
    void getOfAContextThatIsNoObjectAnswersAnEmptyObject();
    void getMarksTheContextAsUsed();
    void everyGetOfAnUnchangedContextSharesOneText();
    void putToAnUnknownIdAnswers201AndASecondIdenticalPut200();
    void putMergesThePostedMembersIntoTheStoredOnes();
    void putAnswersTheMergedContextAndNotTheStoredOne();
    void putThatChangesNothingAnswersWhatGetAnswers();
    void putOfAJsonArrayStoresNothingFromIt();
    void putOfInvalidJsonCountsAsAnEmptyObject();
    void putToAContextThatIsNoObjectEchoesThePostedDocument();
    void putAnswersItsOwnMergeWhenAReceiverChangesTheContextAgain();
    void deleteOfAPresentContextRemovesItAndAnswers204();
    void deleteOfAnUnknownContextAnswers404AndThen204();
    void deleteRemovesBetweenTheTwoAnswers();
    void otherMethodsWriteNothing();
    void anEmptyIdThrows();
    void logsTheIdPerMethod();
};

void TestContextController::getOfAPresentContextAnswersItAsJson()
{
    Module module;
    const QJsonObject context = json(R"({"patient": {"name": "M\u00fcller"}, "n": 1.5})");
    module.contexts.setContext(QStringLiteral("abc"), context);
    Exchange exchange(module.strategy, {Request::Get, path});
    exchange.handle();
    QCOMPARE(exchange.calls(), jsonAnswer(200, printed(context)));
    QCOMPARE(exchange.response->body(), printed(context));
}

void TestContextController::getOfAnUnknownIdAnswers404WithoutBodyAndContentType()
{
    Module module;
    Exchange exchange(module.strategy, {Request::Get, path});
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(404));
}

void TestContextController::anIdThatWasOnlyReadIsStillUnknown()
{
    Module module;
    const auto statuses = [&module](Request::HttpMethod method) {
        Exchange exchange(module.strategy, {method, path, R"({"a": 1})"});
        return exchange.handle().response->statuses();
    };
    QCOMPARE(statuses(Request::Get), QVector<int>{404});
    QCOMPARE(module.contexts.contextIds(), QStringList{QStringLiteral("abc")}); // it holds a null
    QCOMPARE(statuses(Request::Get), QVector<int>{404});
    QCOMPARE(statuses(Request::Delete), (QVector<int>{404, 204}));
    QCOMPARE(statuses(Request::Get), QVector<int>{404});
    QCOMPARE(statuses(Request::Put), QVector<int>{201});
    QCOMPARE(statuses(Request::Get), QVector<int>{200});
}

void TestContextController::getOfAContextThatIsNoObjectAnswersAnEmptyObject()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), QJsonArray{1, 2});
    Exchange exchange(module.strategy, {Request::Get, path});
    exchange.handle();
    QCOMPARE(exchange.calls(), jsonAnswer(200, "{\n}\n"));
}

void TestContextController::getMarksTheContextAsUsed()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1})"));
    module.contexts.setContext(QStringLiteral("left"), json(R"({"a": 1})"));
    module.clock.advance(120000);
    Exchange(module.strategy, {Request::Get, path}).handle();
    module.contexts.collectGarbage(60000);
    QCOMPARE(module.contexts.contextIds(), QStringList{QStringLiteral("abc")});
}

void TestContextController::everyGetOfAnUnchangedContextSharesOneText()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1})"));
    Exchange first(module.strategy, {Request::Get, path});
    Exchange second(module.strategy, {Request::Get, path});
    first.handle();
    second.handle();
    QCOMPARE(static_cast<const void *>(second.response->body().constData()),
             static_cast<const void *>(first.response->body().constData()));
}

void TestContextController::putToAnUnknownIdAnswers201AndASecondIdenticalPut200()
{
    Module module;
    const FakeRequest put(Request::Put, path, R"({"patient": {"id": 7}})");
    const QJsonObject context = json(R"({"patient": {"id": 7}})");
    Exchange first(module.strategy, put);
    first.handle();
    QCOMPARE(first.calls(), jsonAnswer(201, printed(context)));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")).toObject(), context);

    Exchange second(module.strategy, put);
    second.handle();
    QCOMPARE(second.calls(), jsonAnswer(200, printed(context)));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")).toObject(), context);
}

void TestContextController::putMergesThePostedMembersIntoTheStoredOnes()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1, "b": {"c": 2, "d": 3}})"));
    Exchange exchange(module.strategy,
                      {Request::Put, path, R"({"b": {"c": 4}, "e": null, "matchingItems": []})"});
    exchange.handle();
    const QJsonObject merged = json(R"({"a": 1, "b": {"c": 4}, "e": null, "matchingItems": []})");
    QCOMPARE(exchange.calls(), jsonAnswer(200, printed(merged)));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")).toObject(), merged);
}

void TestContextController::putAnswersTheMergedContextAndNotTheStoredOne()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"matchingItems": [1], "a": 1})"));
    Exchange exchange(module.strategy, {Request::Put, path, R"({"a": 2})"});
    exchange.handle();
    QCOMPARE(exchange.response->body(), printed(json(R"({"matchingItems": [1], "a": 2})")));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")).toObject(),
             json(R"({"matchingItems": [], "a": 2})"));
}

void TestContextController::putThatChangesNothingAnswersWhatGetAnswers()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"matchingItems": [1], "a": 1})"));
    Exchange get(module.strategy, {Request::Get, path});
    get.handle();
    Exchange put(module.strategy, {Request::Put, path, R"({"a": 1})"});
    put.handle();
    QCOMPARE(put.calls(), get.calls());
    QCOMPARE(static_cast<const void *>(put.response->body().constData()),
             static_cast<const void *>(get.response->body().constData()));
}

void TestContextController::putOfAJsonArrayStoresNothingFromIt()
{
    Module module;
    const FakeRequest put(Request::Put, path, R"([{"a": 1}])");
    Exchange first(module.strategy, put);
    first.handle();
    QCOMPARE(first.calls(), jsonAnswer(201, "{\n}\n"));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")), QJsonValue(QJsonObject()));

    module.contexts.removeContext(QStringLiteral("abc"));
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"b": 2})"));
    Exchange second(module.strategy, put);
    second.handle();
    QCOMPARE(second.calls(), jsonAnswer(200, printed(json(R"({"b": 2})"))));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")).toObject(), json(R"({"b": 2})"));
}

void TestContextController::putOfInvalidJsonCountsAsAnEmptyObject()
{
    Module module;
    const FakeRequest put(Request::Put, path, R"({"a": )");
    Exchange first(module.strategy, put);
    first.handle();
    QCOMPARE(first.calls(), jsonAnswer(201, "{\n}\n"));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")), QJsonValue(QJsonObject()));

    module.contexts.removeContext(QStringLiteral("abc"));
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"b": 2})"));
    Exchange second(module.strategy, put);
    second.handle();
    QCOMPARE(second.calls(), jsonAnswer(200, printed(json(R"({"b": 2})"))));
}

void TestContextController::putToAContextThatIsNoObjectEchoesThePostedDocument()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), QJsonArray{1});
    Exchange object(module.strategy, {Request::Put, path, R"({"a":1})"});
    object.handle();
    QCOMPARE(object.calls(), jsonAnswer(200, printed(json(R"({"a": 1})"))));
    Exchange array(module.strategy, {Request::Put, path, R"([1,2])"});
    array.handle();
    QCOMPARE(array.calls(), jsonAnswer(200, QJsonDocument(QJsonArray{1, 2}).toJson()));
    Exchange invalid(module.strategy, {Request::Put, path, "nonsense"});
    invalid.handle();
    QCOMPARE(invalid.calls(), jsonAnswer(200, QByteArray()));
    QCOMPARE(module.contexts.context(QStringLiteral("abc")), QJsonValue(QJsonArray{1}));
}

void TestContextController::putAnswersItsOwnMergeWhenAReceiverChangesTheContextAgain()
{
    Module module;
    bool again = true;
    QObject::connect(&module.contexts, &ContextService::contextChanged,
                     [&](const QString &id, const QJsonValue &) {
                         if (std::exchange(again, false))
                             module.contexts.setContext(id, json(R"({"other": true})"));
                     });
    Exchange exchange(module.strategy, {Request::Put, path, R"({"a": 1})"});
    exchange.handle();
    QCOMPARE(exchange.calls(), jsonAnswer(201, printed(json(R"({"a": 1})"))));
}

void TestContextController::deleteOfAPresentContextRemovesItAndAnswers204()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1})"));
    Exchange exchange(module.strategy, {Request::Delete, path});
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(204));
    QCOMPARE(module.contexts.contextIds(), QStringList());
}

void TestContextController::deleteOfAnUnknownContextAnswers404AndThen204()
{
    Module module;
    Exchange exchange(module.strategy, {Request::Delete, path});
    exchange.handle();
    QCOMPARE(exchange.calls(),
             bareAnswer(404, QStringLiteral("Context not found.")) + bareAnswer(204));
    QCOMPARE(module.contexts.contextIds(), QStringList());
    QCOMPARE(module.publisher.on(QStringLiteral("context-removed")).size(), 1);
}

void TestContextController::deleteRemovesBetweenTheTwoAnswers()
{
    Module module;
    Exchange exchange(module.strategy, {Request::Delete, path});
    QVector<int> answersAtRemoval;
    module.publisher.onPublish = [&](const QJsonValue &) {
        answersAtRemoval.append(exchange.response->bodies().size());
    };
    exchange.handle();
    QCOMPARE(answersAtRemoval, QVector<int>{1});
    QCOMPARE(exchange.response->bodies().size(), 2);
}

void TestContextController::otherMethodsWriteNothing()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1})"));
    for (const auto method : {Request::Head, Request::Post, Request::Patch, Request::Unknown}) {
        ContextController controller(&module.contexts, method, QStringLiteral("abc"));
        const auto response = std::make_shared<FakeResponse>();
        controller.setRequest(std::make_shared<FakeRequest>(method, path));
        controller.setResponse(response);
        controller.handle();
        QCOMPARE(response->calls(), QStringList());
    }
    QCOMPARE(module.contexts.context(QStringLiteral("abc")).toObject(), json(R"({"a": 1})"));
}

void TestContextController::anEmptyIdThrows()
{
    Module module;
    ContextController controller(&module.contexts, Request::Get, QString());
    QCOMPARE(thrownBy(controller), QStringLiteral("Context id required."));
}

void TestContextController::logsTheIdPerMethod()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy, {Request::Put, path, "{}"}).handle();
    Exchange(module.strategy, {Request::Get, path}).handle();
    Exchange(module.strategy, {Request::Delete, path}).handle();
    Exchange(module.strategy, {Request::Delete, path}).handle();
    QCOMPARE(debugLines(log, category),
             (QStringList{QStringLiteral("Setting context \"abc\" ."),
                          QStringLiteral("Accessing context \"abc\" ."),
                          QStringLiteral("Deleting context \"abc\" ."),
                          QStringLiteral("Deleting context \"abc\" .")}));
}

QTEST_GUILESS_MAIN(TestContextController)
#include "tst_contextcontroller.moc"
