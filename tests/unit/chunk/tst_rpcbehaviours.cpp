#include "chunk/rpccreatecontextbehaviour.h"
#include "chunk/rpcdeletecontextbehaviour.h"
#include "chunk/rpcsetcontextbehaviour.h"
#include "chunk/rpcupdatecontextbehaviour.h"
#include "chunkfixture.h"

#include <QtTest/QtTest>

namespace {

/// A request on the exchange "kavo-context-rpc-" + `kind`, to be answered on "answers" under "c".
QJsonValue request(const QByteArray &kind, const QByteArray &body)
{
    return json(R"({"exchange":"kavo-context-rpc-)" + kind + R"(","body":)" + body +
                R"(,"properties":{"reply-to":"exchange:answers","correlation-id":"c"}})");
}

QJsonValue answer(const QByteArray &body)
{
    return json(R"({"exchange":"answers","properties":{"correlation-id":"c"},"body":)" + body +
                "}");
}

QVector<QJsonObject> answers(const Stores &stores)
{
    return stores.publisher.on(latin1("answers"));
}

void emptyIds()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("printed");
    QTest::newRow("missing") << QByteArray(R"({"a":1})") << latin1("QJsonObject({\"a\":1})");
    QTest::newRow("empty") << QByteArray(R"({"_id":""})") << latin1("QJsonObject({\"_id\":\"\"})");
    QTest::newRow("number") << QByteArray(R"({"_id":7})") << latin1("QJsonObject({\"_id\":7})");
    QTest::newRow("body is no object") << QByteArray("5") << latin1("QJsonObject()");
}

} // namespace

class tst_RpcBehaviours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void createStoresUnderAFreshIdAndAnswersWithIt();
    void createWithoutBodyStoresTheIdAlone();
    void deleteRemovesTheContextAndAnswersWithItsId();
    void deleteOfAnUnknownIdIsAnswered_data();
    void deleteOfAnUnknownIdIsAnswered();
    void setReplacesTheContextAndAnswersWithoutId();
    void setAnswersWithTheBodyAsSentNotAsStored();
    void setWithoutIdIsWarnedOfAndNotAnswered_data() { emptyIds(); }
    void setWithoutIdIsWarnedOfAndNotAnswered();
    void updateChangesMembersAndAnswersWithoutId();
    void updateOfAnUnknownIdCreatesTheContext();
    void starUpdatesEveryContextAndIsAnsweredOnce();
    void starUpdateOfAnEmptyStoreIsAnswered();
    void starUpdateCreatesWhatWasOnlyRead();
    void starUpdatesTheContextsOfThatMoment();
    void updateWithoutIdIsWarnedOfAndNotAnswered_data() { emptyIds(); }
    void updateWithoutIdIsWarnedOfAndNotAnswered();
    void setAndUpdateCountAsUse_data();
    void setAndUpdateCountAsUse();
    void withoutAPublisherTheRequestIsCarriedOut();
    void publisherIsReadAfreshBeforeTheAnswer();
    void answerFollowsTheChange_data();
    void answerFollowsTheChange();
    void requestWithoutPropertiesIsAnsweredOnTheEmptyExchange();
    void otherExchangesAreIgnored_data();
    void otherExchangesAreIgnored();
};

void tst_RpcBehaviours::createStoresUnderAFreshIdAndAnswersWithIt()
{
    Stores stores;
    RpcCreateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("create", R"({"_id":"x","a":1})"));
    const QStringList ids = stores.contexts.contextIds();
    QCOMPARE(ids.size(), 1);
    QVERIFY(ids.first() != latin1("x"));
    const QByteArray body = R"({"_id":")" + ids.first().toLatin1() + R"(","a":1})";
    QCOMPARE(stores.contexts.context(ids.first()), json(body));
    QCOMPARE(QJsonValue(stores.publisher.last()), answer(body));
}

void tst_RpcBehaviours::createWithoutBodyStoresTheIdAlone()
{
    Stores stores;
    RpcCreateContextBehaviour(&stores.host, &stores.contexts)
        .handle(json(R"({"exchange":"kavo-context-rpc-create"})"));
    const QString id = stores.contexts.contextIds().value(0);
    QCOMPARE(stores.contexts.context(id), QJsonValue(QJsonObject{{latin1("_id"), id}}));
}

void tst_RpcBehaviours::deleteRemovesTheContextAndAnswersWithItsId()
{
    Stores stores;
    stores.put("a", R"({"x":1})");
    RpcDeleteContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("delete", R"({"context":"a","other":1})"));
    QVERIFY(stores.contexts.contextIds().isEmpty());
    QCOMPARE(QJsonValue(stores.publisher.last()), answer(R"({"context":"a"})"));
}

void tst_RpcBehaviours::deleteOfAnUnknownIdIsAnswered_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("id");
    QTest::newRow("unknown") << QByteArray(R"({"context":"u"})") << latin1("u");
    QTest::newRow("empty") << QByteArray(R"({"context":""})") << latin1("");
    QTest::newRow("missing") << QByteArray("{}") << latin1("");
    QTest::newRow("number") << QByteArray(R"({"context":7})") << latin1("");
}

void tst_RpcBehaviours::deleteOfAnUnknownIdIsAnswered()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, id);
    Stores stores;
    RpcDeleteContextBehaviour(&stores.host, &stores.contexts).handle(request("delete", body));
    const QVector<QJsonObject> removals = stores.publisher.on(latin1("context-removed"));
    QCOMPARE(removals.size(), 1);
    QCOMPARE(removals.first().value(latin1("data")),
             QJsonValue(QJsonObject{{latin1("contextId"), id}}));
    QCOMPARE(stores.publisher.last().value(latin1("body")),
             QJsonValue(QJsonObject{{latin1("context"), id}}));
}

void tst_RpcBehaviours::setReplacesTheContextAndAnswersWithoutId()
{
    Stores stores;
    stores.put("a", R"({"_id":"a","x":1,"y":2})");
    RpcSetContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("set", R"({"_id":"a","x":3})"));
    QCOMPARE(stores.at("a"), json(R"({"x":3,"matchingItems":[]})"));
    QCOMPARE(QJsonValue(stores.publisher.last()), answer(R"({"x":3})"));
}

void tst_RpcBehaviours::setAnswersWithTheBodyAsSentNotAsStored()
{
    Stores stores;
    stores.put("a", R"({"x":1})");
    const QByteArray sent = R"({"x":2,"matchingItems":[{"id":"1"}]})";
    RpcSetContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("set", R"({"_id":"a",)" + sent.mid(1)));
    QCOMPARE(stores.at("a"), json(R"({"x":2,"matchingItems":[]})"));
    QCOMPARE(QJsonValue(stores.publisher.last()), answer(sent));
}

void tst_RpcBehaviours::setWithoutIdIsWarnedOfAndNotAnswered()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, printed);
    Stores stores;
    support::LogCapture log;
    RpcSetContextBehaviour(&stores.host, &stores.contexts).handle(request("set", body));
    const QString category = latin1("ch.brenlo.kavo-service.context.rpcsetcontextbehaviour");
    const QVector<support::LogLine> expected{
        {QtWarningMsg, category, latin1("Set context with empty _id ignored.")},
        {QtDebugMsg, category, printed}};
    QCOMPARE(log.lines(), expected);
    QVERIFY(stores.publisher.chunks().isEmpty());
    QVERIFY(stores.contexts.contextIds().isEmpty());
}

void tst_RpcBehaviours::updateChangesMembersAndAnswersWithoutId()
{
    Stores stores;
    stores.put("a", R"({"_id":"a","x":1,"y":2})");
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("update", R"({"_id":"a","x":3})"));
    QCOMPARE(stores.at("a"), json(R"({"_id":"a","x":3,"y":2,"matchingItems":[]})"));
    QCOMPARE(QJsonValue(stores.publisher.last()), answer(R"({"x":3})"));
}

void tst_RpcBehaviours::updateOfAnUnknownIdCreatesTheContext()
{
    Stores stores;
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("update", R"({"_id":"new","x":3})"));
    QCOMPARE(stores.at("new"), json(R"({"x":3})"));
    QCOMPARE(QJsonValue(stores.publisher.last()), answer(R"({"x":3})"));
}

void tst_RpcBehaviours::starUpdatesEveryContextAndIsAnsweredOnce()
{
    Stores stores;
    stores.put("a", R"({"x":1})");
    stores.put("b", R"({"inbox":7})");
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("update", R"({"_id":"*","inbox":[]})"));
    QCOMPARE(stores.at("a"), json(R"({"x":1,"inbox":[]})"));
    QCOMPARE(stores.at("b"), json(R"({"inbox":[]})"));
    QCOMPARE(stores.contexts.contextIds().size(), 2); // none under "*"
    QCOMPARE(answers(stores).size(), 1);
    QCOMPARE(QJsonValue(answers(stores).first()), answer(R"({"inbox":[]})"));
}

void tst_RpcBehaviours::starUpdateOfAnEmptyStoreIsAnswered()
{
    Stores stores;
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("update", R"({"_id":"*","x":1})"));
    QVERIFY(stores.contexts.contextIds().isEmpty());
    QCOMPARE(stores.publisher.chunks().size(), 1);
    QCOMPARE(QJsonValue(stores.publisher.last()), answer(R"({"x":1})"));
}

void tst_RpcBehaviours::starUpdateCreatesWhatWasOnlyRead()
{
    Stores stores;
    stores.at("asked-for"); // leaves a null behind
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("update", R"({"_id":"*","x":1})"));
    QCOMPARE(stores.at("asked-for"), json(R"({"x":1})"));
}

void tst_RpcBehaviours::starUpdatesTheContextsOfThatMoment()
{
    Stores stores;
    stores.put("a", "{}");
    QObject::connect(&stores.contexts, &ContextService::contextChanged, &stores.contexts,
                     [&stores](const QString &id, const QJsonValue &) {
                         if (id == latin1("a"))
                             stores.put("b", R"({"y":1})");
                     });
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("update", R"({"_id":"*","inbox":1})"));
    QCOMPARE(stores.at("a"), json(R"({"inbox":1})"));
    QCOMPARE(stores.at("b"), json(R"({"y":1})"));
}

void tst_RpcBehaviours::updateWithoutIdIsWarnedOfAndNotAnswered()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, printed);
    Stores stores;
    support::LogCapture log;
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts).handle(request("update", body));
    const QString category = latin1("ch.brenlo.kavo-service.context.rpcupdatecontextbehaviour");
    const QVector<support::LogLine> expected{
        {QtWarningMsg, category, latin1("Update context with empty _id ignored.")},
        {QtDebugMsg, category, printed}};
    QCOMPARE(log.lines(), expected);
    QVERIFY(stores.publisher.chunks().isEmpty());
    QVERIFY(stores.contexts.contextIds().isEmpty());
}

void tst_RpcBehaviours::setAndUpdateCountAsUse_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("set") << QByteArray("set") << QByteArray(R"({"_id":"a","x":1})");
    QTest::newRow("update") << QByteArray("update") << QByteArray(R"({"_id":"a","x":1})");
    QTest::newRow("update of all") << QByteArray("update") << QByteArray(R"({"_id":"*","x":1})");
}

void tst_RpcBehaviours::setAndUpdateCountAsUse()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, body);
    Stores stores;
    stores.put("a", R"({"x":1})"); // the request changes nothing but the time
    stores.clock.advance(60000);
    RpcSetContextBehaviour(&stores.host, &stores.contexts).handle(request(kind, body));
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts).handle(request(kind, body));
    stores.contexts.collectGarbage(60000);
    QCOMPARE(stores.contexts.contextIds(), QStringList{latin1("a")});
    stores.clock.advance(60000);
    stores.contexts.collectGarbage(60000);
    QVERIFY(stores.contexts.contextIds().isEmpty());
}

void tst_RpcBehaviours::withoutAPublisherTheRequestIsCarriedOut()
{
    Stores stores;
    stores.put("gone", R"({"x":1})");
    stores.put("updated", R"({"inbox":1})");
    stores.host.publisher = nullptr;
    RpcCreateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("create", R"({"created":true})"));
    RpcDeleteContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("delete", R"({"context":"gone"})"));
    RpcSetContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("set", R"({"_id":"set","x":1})"));
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("update", R"({"_id":"updated","inbox":2})"));
    QCOMPARE(stores.contexts.contextIds().size(), 3);
    QVERIFY(!stores.contexts.contextIds().contains(latin1("gone")));
    QCOMPARE(stores.at("set"), json(R"({"x":1})"));
    QCOMPARE(stores.at("updated"), json(R"({"inbox":2})"));
    QVERIFY(stores.publisher.chunks().isEmpty());
}

void tst_RpcBehaviours::publisherIsReadAfreshBeforeTheAnswer()
{
    Stores stores;
    stores.publisher.onPublish = [&stores](const QJsonValue &) {
        stores.host.publisher = nullptr; // whoever hears of the change stops the host
    };
    RpcSetContextBehaviour(&stores.host, &stores.contexts)
        .handle(request("set", R"({"_id":"a","x":1})"));
    QCOMPARE(stores.at("a"), json(R"({"x":1})"));
    QCOMPARE(stores.publisher.chunks().size(), 1);
    QVERIFY(answers(stores).isEmpty());
}

void tst_RpcBehaviours::answerFollowsTheChange_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("chunks"); // the exchange or the event of each
    const QString changed = latin1("context-changed");
    const QString answered = latin1("answers");
    QTest::newRow("create") << QByteArray("create") << QByteArray(R"({"x":1})")
                            << QStringList{latin1("context-created"), changed, answered};
    QTest::newRow("delete") << QByteArray("delete") << QByteArray(R"({"context":"a"})")
                            << QStringList{latin1("context-removed"), answered};
    QTest::newRow("set") << QByteArray("set") << QByteArray(R"({"_id":"a","x":1})")
                         << QStringList{changed, answered};
    QTest::newRow("update") << QByteArray("update") << QByteArray(R"({"_id":"*","x":1})")
                            << QStringList{changed, changed, answered};
}

void tst_RpcBehaviours::answerFollowsTheChange()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, body);
    Stores stores;
    stores.put("a", R"({"x":0})");
    stores.put("b", R"({"x":0})");
    const QJsonValue chunk = request(kind, body);
    RpcCreateContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    RpcDeleteContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    RpcSetContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    QStringList chunks;
    for (const QJsonValue &published : stores.publisher.chunks()) {
        const QJsonObject object = published.toObject();
        const QString exchange = object.value(latin1("exchange")).toString();
        const QJsonObject data = object.value(latin1("data")).toObject();
        chunks << (exchange.isEmpty() ? data.value(latin1("event")).toString() : exchange);
    }
    QTEST(chunks, "chunks");
}

void tst_RpcBehaviours::requestWithoutPropertiesIsAnsweredOnTheEmptyExchange()
{
    Stores stores;
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts)
        .handle(json(R"({"exchange":"kavo-context-rpc-update","body":{"_id":"*"}})"));
    QCOMPARE(QJsonValue(stores.publisher.last()),
             json(R"({"exchange":"","properties":{"correlation-id":null},"body":{}})"));
}

void tst_RpcBehaviours::otherExchangesAreIgnored_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::newRow("upper case") << json(
        R"({"exchange":"KAVO-context-rpc-set","body":{"_id":"a","context":"a","x":1}})");
    QTest::newRow("none") << json(R"({"body":{"_id":"a","context":"a","x":1}})");
    QTest::newRow("array") << json("[]");
    QTest::newRow("null") << QJsonValue();
}

void tst_RpcBehaviours::otherExchangesAreIgnored()
{
    QFETCH(QJsonValue, chunk);
    Stores stores;
    stores.put("a", R"({"x":0})");
    support::LogCapture log;
    RpcCreateContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    RpcDeleteContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    RpcSetContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    RpcUpdateContextBehaviour(&stores.host, &stores.contexts).handle(chunk);
    QVERIFY(log.lines().isEmpty());
    QVERIFY(stores.publisher.chunks().isEmpty());
    QCOMPARE(stores.contexts.contextIds(), QStringList{latin1("a")});
    QCOMPARE(stores.at("a"), json(R"({"x":0})"));
}

QTEST_GUILESS_MAIN(tst_RpcBehaviours)
#include "tst_rpcbehaviours.moc"
