#include "http/contextcredentialscontroller.h"

#include "modulefixture.h"

#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.credentials.controller");
const QString path = QStringLiteral("/context/abc/credentials");

FakeRequest post(const QByteArray &body)
{
    return {Request::Post, path, body};
}

QJsonValue resetChunk()
{
    return json(R"({"source": "z9-plugin-context", "version": "1.0.0",
                    "data": {"event": "credentialreset-published", "id": "abc"}})");
}

QJsonValue credentialChunk(const QJsonObject &entry)
{
    QJsonObject data = json(R"({"event": "credential-published", "id": "abc"})");
    data.insert(QStringLiteral("data"), entry);
    QJsonObject chunk = json(R"({"source": "z9-plugin-context", "version": "1.0.0"})");
    chunk.insert(QStringLiteral("data"), data);
    return chunk;
}

const QString started = QStringLiteral("Publish credential for context \"abc\" .");
const QString sending = QStringLiteral("Sending chunk.");

QString publishing(const QString &service)
{
    return QStringLiteral("Publish credential for context  \"abc\" : Service:  \"%1\"")
        .arg(service);
}

} // namespace

class TestContextCredentialsController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anEmptyArrayPublishesOneResetAndAnswers200WithAnEmptyBody();
    void aBodyThatIsNoArrayPublishesTheResetOnly_data();
    void aBodyThatIsNoArrayPublishesTheResetOnly();
    void anEntryWithServiceOnlyIsPublishedAsItStands();
    void entriesArePublishedInOrderExactlyAsReceived();
    void aKeystoreEntryNeedsServiceAndId();
    void anIncompleteEntryEndsTheProcessing_data();
    void anIncompleteEntryEndsTheProcessing();
    void withoutHostNothingIsPublishedAndTheAnswerIsTheSame();
    void theHostStaysInUseAfterItIsDetached();
    void otherMethodsWriteNothing();
    void withoutResponseItStillPublishes();
    void anEmptyIdThrows();
    void logsEachStep();
    void logsTheWholeChunk();
};

void TestContextCredentialsController::anEmptyArrayPublishesOneResetAndAnswers200WithAnEmptyBody()
{
    Module module;
    Exchange exchange(module.strategy, post("[]"));
    exchange.handle();
    QCOMPARE(module.publisher.chunks(), QVector<QJsonValue>{resetChunk()});
    QCOMPARE(exchange.calls(), jsonAnswer(200, QByteArray()));
    QCOMPARE(module.contexts.contextIds(), QStringList());
}

void TestContextCredentialsController::aBodyThatIsNoArrayPublishesTheResetOnly_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("an object") << QByteArray(R"({"service": "s"})");
    QTest::newRow("invalid") << QByteArray(R"([{"service": "s"})");
    QTest::newRow("empty") << QByteArray();
}

void TestContextCredentialsController::aBodyThatIsNoArrayPublishesTheResetOnly()
{
    QFETCH(QByteArray, body);
    Module module;
    Exchange exchange(module.strategy, post(body));
    exchange.handle();
    QCOMPARE(module.publisher.chunks(), QVector<QJsonValue>{resetChunk()});
    QCOMPARE(exchange.calls(), jsonAnswer(200, QByteArray()));
}

void TestContextCredentialsController::anEntryWithServiceOnlyIsPublishedAsItStands()
{
    Module module;
    Exchange(module.strategy, post(R"([{"service": "s"}])")).handle();
    QCOMPARE(module.publisher.chunks(),
             (QVector<QJsonValue>{resetChunk(), credentialChunk(json(R"({"service": "s"})"))}));
}

void TestContextCredentialsController::entriesArePublishedInOrderExactlyAsReceived()
{
    Module module;
    const QByteArray first =
        R"({"service": "s", "id": 7, "cert": "c", "key": "k", "keyPass": "p", "more": [1]})";
    const QByteArray second = R"({"service": "t", "id": "i", "keystore_ref": "r", "cert": null})";
    Exchange(module.strategy, post('[' + first + ',' + second + ']')).handle();
    QCOMPARE(module.publisher.chunks(),
             (QVector<QJsonValue>{resetChunk(), credentialChunk(json(first.constData())),
                                  credentialChunk(json(second.constData()))}));
}

void TestContextCredentialsController::aKeystoreEntryNeedsServiceAndId()
{
    Module module;
    Exchange(module.strategy, post(R"([{"service": "s", "id": "i", "keystore_ref": "r"}])"))
        .handle();
    QCOMPARE(module.publisher.chunks().size(), 2);
}

void TestContextCredentialsController::anIncompleteEntryEndsTheProcessing_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QString>("line");
    const QString plain = QStringLiteral("Incomplete credentials. Do not publish.");
    const QString keystore = QStringLiteral("Incomplete keystore credentials. Do not publish.");
    QTest::newRow("keystore without id")
        << QByteArray(R"({"keystore_ref": "r", "service": "s"})") << keystore;
    QTest::newRow("keystore with an id that is no text")
        << QByteArray(R"({"keystore_ref": "r", "service": "s", "id": 1})") << keystore;
    QTest::newRow("keystore without service")
        << QByteArray(R"({"keystore_ref": "r", "id": "i"})") << keystore;
    QTest::newRow("keystore alone") << QByteArray(R"({"keystore_ref": "r"})") << keystore;
    QTest::newRow("no service") << QByteArray(R"({"id": "i", "cert": "c", "key": "k"})") << plain;
    QTest::newRow("a keystore that is no text")
        << QByteArray(R"({"keystore_ref": 1, "id": "i"})") << plain;
    QTest::newRow("a service that is no text") << QByteArray(R"({"service": 1})") << plain;
    QTest::newRow("an empty object") << QByteArray("{}") << plain;
    QTest::newRow("a number") << QByteArray("1") << plain;
    QTest::newRow("null") << QByteArray("null") << plain;
    QTest::newRow("an array") << QByteArray(R"([{"service": "s"}])") << plain;
}

void TestContextCredentialsController::anIncompleteEntryEndsTheProcessing()
{
    QFETCH(QByteArray, entry);
    QFETCH(QString, line);
    const QByteArray valid = R"({"service": "s"})";
    Module module;
    support::LogCapture log;
    Exchange exchange(module.strategy, post('[' + valid + ',' + entry + ',' + valid + ']'));
    exchange.handle();
    QCOMPARE(module.publisher.chunks(),
             (QVector<QJsonValue>{resetChunk(), credentialChunk(json(valid.constData()))}));
    QCOMPARE(exchange.calls(), jsonAnswer(200, QByteArray()));
    QCOMPARE(debugLines(log, category).last(), line);

    Exchange(module.strategy, post('[' + entry + ',' + valid + ']')).handle();
    QCOMPARE(module.publisher.chunks().size(), 3);
    QCOMPARE(module.publisher.chunks().last(), resetChunk());
}

void TestContextCredentialsController::withoutHostNothingIsPublishedAndTheAnswerIsTheSame()
{
    Module module;
    module.strategy.setHost(nullptr);
    support::LogCapture log;
    Exchange exchange(module.strategy, post(R"([{"service": "s"}, {"service": "t"}, {}])"));
    exchange.handle();
    QVERIFY(module.publisher.chunks().isEmpty());
    QCOMPARE(exchange.calls(), jsonAnswer(200, QByteArray()));
    QCOMPARE(debugLines(log, category),
             (QStringList{started, publishing(QStringLiteral("s")), publishing(QStringLiteral("t")),
                          QStringLiteral("Incomplete credentials. Do not publish.")}));
}

void TestContextCredentialsController::theHostStaysInUseAfterItIsDetached()
{
    Module module;
    module.host.publisher = nullptr;
    Exchange(module.strategy, post("[]")).handle();
    QCOMPARE(module.publisher.chunks(), QVector<QJsonValue>{resetChunk()});
}

void TestContextCredentialsController::otherMethodsWriteNothing()
{
    Module module;
    for (const auto method : {Request::Get, Request::Put, Request::Delete}) {
        ContextCredentialsController controller(&module.publisher, method, QStringLiteral("abc"));
        const auto response = std::make_shared<FakeResponse>();
        controller.setRequest(std::make_shared<FakeRequest>(method, path, "[]"));
        controller.setResponse(response);
        controller.handle();
        QCOMPARE(response->calls(), QStringList());
    }
    QVERIFY(module.publisher.chunks().isEmpty());
}

void TestContextCredentialsController::withoutResponseItStillPublishes()
{
    Module module;
    ContextCredentialsController controller(&module.publisher, Request::Post,
                                            QStringLiteral("abc"));
    controller.setRequest(std::make_shared<FakeRequest>(post("[]")));
    controller.handle();
    QCOMPARE(module.publisher.chunks(), QVector<QJsonValue>{resetChunk()});
}

void TestContextCredentialsController::anEmptyIdThrows()
{
    Module module;
    ContextCredentialsController controller(&module.publisher, Request::Post, QString());
    QCOMPARE(thrownBy(controller), QStringLiteral("Context id required."));
    QVERIFY(module.publisher.chunks().isEmpty());
}

void TestContextCredentialsController::logsEachStep()
{
    Module module;
    support::LogCapture log;
    QVector<int> linesAtPublish;
    module.publisher.onPublish = [&](const QJsonValue &) {
        linesAtPublish.append(log.lines(category).size());
    };
    Exchange(module.strategy, post(R"([{"service": "s"}, {"keystore_ref": "r"}])")).handle();
    const QStringList lines = debugLines(log, category);
    QCOMPARE(lines.size(), 5);
    QCOMPARE(lines.mid(0, 3), (QStringList{started, sending, publishing(QStringLiteral("s"))}));
    QVERIFY(lines.at(3).startsWith(QLatin1String("Credential chunk to be sent:  QJsonObject(")));
    QCOMPARE(lines.at(4), QStringLiteral("Incomplete keystore credentials. Do not publish."));
    QCOMPARE(linesAtPublish, (QVector<int>{2, 4}));
}

void TestContextCredentialsController::logsTheWholeChunk()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy, post(R"([{"service": "s", "keyPass": "secret"}])")).handle();
    QCOMPARE(debugLines(log, category).last(),
             QStringLiteral("Credential chunk to be sent:  QJsonObject({\"data\":{\"data\":"
                            "{\"keyPass\":\"secret\",\"service\":\"s\"},"
                            "\"event\":\"credential-published\",\"id\":\"abc\"},"
                            "\"source\":\"z9-plugin-context\",\"version\":\"1.0.0\"})"));
}

QTEST_GUILESS_MAIN(TestContextCredentialsController)
#include "tst_contextcredentialscontroller.moc"
