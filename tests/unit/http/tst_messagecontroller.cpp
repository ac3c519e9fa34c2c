#include "http/messagecontroller.h"

#include "modulefixture.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.messagecontroller");

FakeRequest post(const QByteArray &body)
{
    return {Request::Post, QStringLiteral("/message"), body};
}

/// A module that holds the messages "1", "2" and "3".
struct ModuleWithMessages : Module
{
    ModuleWithMessages()
    {
        for (const char *name : {"1", "2", "3"}) {
            Message message;
            message.id = QString::fromLatin1(name);
            messages.addMessage(message);
        }
    }

    QStringList remaining() const
    {
        QStringList ids;
        const QJsonArray array = messages.messagesDocument().array();
        for (const QJsonValue &value : array)
            ids.append(value.toObject().value(QLatin1String("id")).toString());
        ids.sort();
        return ids;
    }
};

} // namespace

class TestMessageController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void removesAndAnswers_data();
    void removesAndAnswers();
    void anEmptyStoreAnswersAnEmptyArray();
    void removingWakesNobody();
    void theMethodPlaysNoPart();
    void logsTheRequest();
};

void TestMessageController::removesAndAnswers_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("remaining");
    const QStringList all{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    QTest::newRow("an empty array removes nothing") << QByteArray("[]") << all;
    QTest::newRow("unknown ids remove nothing") << QByteArray(R"(["4", "", "11"])") << all;
    QTest::newRow("an object removes nothing") << QByteArray(R"({"1": "1"})") << all;
    QTest::newRow("invalid JSON removes nothing") << QByteArray(R"(["1")") << all;
    QTest::newRow("an empty body removes nothing") << QByteArray() << all;
    QTest::newRow("other elements are ignored")
        << QByteArray(R"([1, ["2"], {"id": "3"}, null, true])") << all;
    QTest::newRow("known ids are removed")
        << QByteArray(R"(["1", 2, "3", "1"])") << QStringList{QStringLiteral("2")};
    QTest::newRow("all of them") << QByteArray(R"(["3", "2", "1"])") << QStringList();
}

void TestMessageController::removesAndAnswers()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, remaining);
    ModuleWithMessages module;
    Exchange exchange(module.strategy, post(body));
    exchange.handle();
    QCOMPARE(module.remaining(), remaining);
    QCOMPARE(exchange.calls(), jsonAnswer(200, module.messages.messagesDocument().toJson()));
}

void TestMessageController::anEmptyStoreAnswersAnEmptyArray()
{
    Module module;
    Exchange exchange(module.strategy, post("[]"));
    exchange.handle();
    QCOMPARE(exchange.calls(), jsonAnswer(200, "[\n]\n"));
}

void TestMessageController::removingWakesNobody()
{
    ModuleWithMessages module;
    QSignalSpy available(&module.messages, &MessageService::messagesAvailable);
    Exchange(module.strategy, post(R"(["1"])")).handle();
    QCOMPARE(available.count(), 0);
}

void TestMessageController::theMethodPlaysNoPart()
{
    ModuleWithMessages module;
    MessageController controller(&module.messages, Request::Get);
    const auto response = std::make_shared<FakeResponse>();
    controller.setRequest(std::make_shared<FakeRequest>(post(R"(["1"])")));
    controller.setResponse(response);
    controller.handle();
    QCOMPARE(module.remaining(), (QStringList{QStringLiteral("2"), QStringLiteral("3")}));
    QCOMPARE(response->statuses(), QVector<int>{200});
}

void TestMessageController::logsTheRequest()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy, post("[]")).handle();
    QCOMPARE(debugLines(log, category),
             QStringList{QStringLiteral("Processing Message update request")});
}

QTEST_GUILESS_MAIN(TestMessageController)
#include "tst_messagecontroller.moc"
