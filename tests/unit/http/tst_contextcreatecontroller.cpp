#include "http/contextcreatecontroller.h"

#include "modulefixture.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.controller.create");
const QString path = QStringLiteral("/context");

QStringList textAnswer(int status, const QString &body)
{
    return QStringList{QStringLiteral("setHeader Content-Type: text/plain")} +
           bareAnswer(status, body);
}

FakeRequest post(const QByteArray &body)
{
    return {Request::Post, path, body};
}

} // namespace

class TestContextCreateController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersTheNewContextAsJsonWithItsId();
    void overwritesAnIdThatTheClientSent();
    void answersTheBareIdToAClientThatAcceptsPlainText_data();
    void answersTheBareIdToAClientThatAcceptsPlainText();
    void otherAcceptHeadersGetJson_data();
    void otherAcceptHeadersGetJson();
    void createsBeforeItStores();
    void readsALatin1BodyWhenTheCharsetSaysSo();
    void theCharsetInLowerCaseIsNotRecognised();
    void aLatin1BodyIsReadBeyondANulByte();
    void invalidJsonAnswers400AndCreatesAContextAllTheSame();
    void invalidJsonAnswersTheParsersMessageBeforeItCreates();
    void anEmptyBodyIsInvalidToo();
    void aJsonArrayCreatesAContextWithItsIdOnly();
    void logsTheCreation();
    void logsAParseErrorAsAWarningAndItsText();
};

void TestContextCreateController::answersTheNewContextAsJsonWithItsId()
{
    Module module;
    Exchange exchange(module.strategy, post(R"({"patient": {"id": 7}})"));
    exchange.handle();
    const QString id = module.contexts.contextIds().value(0);
    QCOMPARE(id.size(), 16);
    QJsonObject stored = json(R"({"patient": {"id": 7}})");
    stored.insert(QStringLiteral("_id"), id);
    QCOMPARE(exchange.calls(), jsonAnswer(200, printed(stored)));
    QCOMPARE(module.contexts.context(id).toObject(), stored);
}

void TestContextCreateController::overwritesAnIdThatTheClientSent()
{
    Module module;
    Exchange exchange(module.strategy, post(R"({"_id": "mine"})"));
    exchange.handle();
    const QString id = module.contexts.contextIds().value(0);
    QVERIFY(id != QLatin1String("mine"));
    QCOMPARE(module.contexts.context(id).toObject().value(QLatin1String("_id")).toString(), id);
}

void TestContextCreateController::answersTheBareIdToAClientThatAcceptsPlainText_data()
{
    QTest::addColumn<QString>("accept");
    QTest::newRow("alone") << QStringLiteral("text/plain");
    QTest::newRow("with a parameter") << QStringLiteral("text/plain;q=0.1");
    QTest::newRow("behind JSON") << QStringLiteral("application/json, text/plain");
    QTest::newRow("inside another type") << QStringLiteral("x-text/plainest");
}

void TestContextCreateController::answersTheBareIdToAClientThatAcceptsPlainText()
{
    QFETCH(QString, accept);
    Module module;
    Exchange exchange(module.strategy, post("{}").with(QStringLiteral("Accept"), accept));
    exchange.handle();
    const QString id = module.contexts.contextIds().value(0);
    QCOMPARE(id.size(), 16);
    QCOMPARE(exchange.calls(), textAnswer(200, id));
}

void TestContextCreateController::otherAcceptHeadersGetJson_data()
{
    QTest::addColumn<QString>("accept");
    QTest::newRow("none") << QString();
    QTest::newRow("anything") << QStringLiteral("*/*");
    QTest::newRow("any text") << QStringLiteral("text/*");
    QTest::newRow("in capitals") << QStringLiteral("TEXT/PLAIN");
}

void TestContextCreateController::otherAcceptHeadersGetJson()
{
    QFETCH(QString, accept);
    Module module;
    Exchange exchange(module.strategy, post("{}").with(QStringLiteral("Accept"), accept));
    exchange.handle();
    const QString id = module.contexts.contextIds().value(0);
    QCOMPARE(exchange.calls(), jsonAnswer(200, printed(QJsonObject{{QStringLiteral("_id"), id}})));
}

void TestContextCreateController::createsBeforeItStores()
{
    Module module;
    Exchange(module.strategy, post(R"({"a": 1})")).handle();
    QCOMPARE(module.publisher.chunks().size(), 2);
    const QJsonObject created = module.publisher.chunks().at(0).toObject();
    QCOMPARE(created.value(QLatin1String("exchange")).toString(),
             QStringLiteral("context-created"));
    const QJsonObject changed = module.publisher.last().value(QLatin1String("data")).toObject();
    QCOMPARE(changed.value(QLatin1String("event")).toString(), QStringLiteral("context-changed"));
    QCOMPARE(changed.value(QLatin1String("id")),
             created.value(QLatin1String("data")).toObject().value(QLatin1String("contextId")));
}

void TestContextCreateController::readsALatin1BodyWhenTheCharsetSaysSo()
{
    Module module;
    FakeRequest request = post("{\"name\": \"M\xfcller\"}");
    request.with(QStringLiteral("Content-Type"),
                 QStringLiteral("application/json; charset=ISO-8859-1"));
    Exchange exchange(module.strategy, request);
    exchange.handle();
    QCOMPARE(exchange.response->statuses(), QVector<int>{200});
    const QJsonObject stored =
        module.contexts.context(module.contexts.contextIds().value(0)).toObject();
    QCOMPARE(stored.value(QLatin1String("name")).toString(), QStringLiteral("M\u00fcller"));
}

void TestContextCreateController::theCharsetInLowerCaseIsNotRecognised()
{
    const QString type = QStringLiteral("application/json; charset=iso-8859-1");
    Module module;
    Exchange utf8(module.strategy,
                  post("{\"name\": \"M\xc3\xbcller\"}").with(QStringLiteral("Content-Type"), type));
    utf8.handle();
    QCOMPARE(utf8.response->statuses(), QVector<int>{200});
    const QJsonObject stored =
        module.contexts.context(module.contexts.contextIds().value(0)).toObject();
    QCOMPARE(stored.value(QLatin1String("name")).toString(), QStringLiteral("M\u00fcller"));

    Exchange latin1(module.strategy,
                    post("{\"name\": \"M\xfcller\"}").with(QStringLiteral("Content-Type"), type));
    latin1.handle();
    QCOMPARE(latin1.response->statuses(), (QVector<int>{400, 200}));
}

void TestContextCreateController::aLatin1BodyIsReadBeyondANulByte()
{
    Module module;
    FakeRequest request = post(QByteArray("{\"a\": 1}\0{", 10));
    request.with(QStringLiteral("Content-Type"), QStringLiteral("charset=ISO-8859-1"));
    Exchange exchange(module.strategy, request);
    exchange.handle();
    QCOMPARE(exchange.response->statuses(), (QVector<int>{400, 200}));
}

void TestContextCreateController::invalidJsonAnswers400AndCreatesAContextAllTheSame()
{
    Module module;
    Exchange exchange(module.strategy, post(R"({"a": nonsense})"));
    exchange.handle();
    const QString id = module.contexts.contextIds().value(0);
    const QJsonObject stored{{QStringLiteral("_id"), id}};
    QCOMPARE(exchange.calls(),
             textAnswer(400, QStringLiteral("illegal value")) + jsonAnswer(200, printed(stored)));
    QCOMPARE(module.contexts.context(id).toObject(), stored);
}

void TestContextCreateController::invalidJsonAnswersTheParsersMessageBeforeItCreates()
{
    Module module;
    Exchange exchange(
        module.strategy,
        post(R"({"a" 1})").with(QStringLiteral("Accept"), QStringLiteral("text/plain")));
    QVector<int> answersAtPublish;
    module.publisher.onPublish = [&](const QJsonValue &) {
        answersAtPublish.append(exchange.response->bodies().size());
    };
    exchange.handle();
    QCOMPARE(answersAtPublish, (QVector<int>{1, 1}));
    QCOMPARE(exchange.calls(), textAnswer(400, QStringLiteral("missing name separator")) +
                                   textAnswer(200, module.contexts.contextIds().value(0)));
}

void TestContextCreateController::anEmptyBodyIsInvalidToo()
{
    Module module;
    Exchange exchange(module.strategy, post(QByteArray()));
    exchange.handle();
    QCOMPARE(exchange.response->statuses(), (QVector<int>{400, 200}));
}

void TestContextCreateController::aJsonArrayCreatesAContextWithItsIdOnly()
{
    Module module;
    Exchange exchange(module.strategy, post(R"([{"a": 1}])"));
    exchange.handle();
    const QString id = module.contexts.contextIds().value(0);
    QCOMPARE(exchange.calls(), jsonAnswer(200, printed(QJsonObject{{QStringLiteral("_id"), id}})));
}

void TestContextCreateController::logsTheCreation()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy, post("{}")).handle();
    QCOMPARE(debugLines(log, category), QStringList{QStringLiteral("Creating a new context.")});
}

void TestContextCreateController::logsAParseErrorAsAWarningAndItsText()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy, post("x")).handle();
    const auto lines = log.lines(category);
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines.at(0) ==
            (support::LogLine{QtDebugMsg, category, QStringLiteral("Creating a new context.")}));
    QVERIFY(lines.at(1) ==
            (support::LogLine{QtWarningMsg, category, QStringLiteral("Error when parsing.")}));
    QVERIFY(lines.at(2) ==
            (support::LogLine{QtDebugMsg, category, QStringLiteral("\"illegal value\"")}));
}

QTEST_GUILESS_MAIN(TestContextCreateController)
#include "tst_contextcreatecontroller.moc"
