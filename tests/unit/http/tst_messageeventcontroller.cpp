#include "http/messageeventcontroller.h"

#include "modulefixture.h"

#include <QtCore/QMetaMethod>
#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.eventcontroller");
const FakeRequest poll(Request::Get, QStringLiteral("/message/event"));

Message message(const QString &id, const QString &title = QString())
{
    Message made;
    made.id = id;
    made.title = title;
    return made;
}

QStringList messagesAnswer(const Module &module)
{
    return jsonAnswer(200, module.messages.messagesDocument().toJson());
}

} // namespace

class TestMessageEventController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withAnEmptyStoreItWaitsForAMessage();
    void twoWaitingClientsAreAnsweredByTheSameMessage();
    void withMessagesStoredEveryPollAnswersAtOnceUntilTheyAreAcknowledged();
    void aDeleteIsHandledLikeAGet();
    void aWaitingClientIsAnsweredOnce();
    void aMessageThatComesWhileAnsweringDoesNotAnswerAgain();
    void anAnsweredControllerDeletesItself();
    void aClientThatVanishesWhileWaitingIsForgotten();
    void aClientThatVanishesWhileOthersAreAnsweredIsForgotten();
    void changesOfContextsDoNotAnswer();
    void theSlotIsASlot();
    void logsWaitingAndAnswering();
    void logsAnImmediateAnswer();
};

void TestMessageEventController::withAnEmptyStoreItWaitsForAMessage()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    QCOMPARE(exchange.calls(), QStringList());
    bool answeredWithin = false;
    QObject::connect(&module.messages, &MessageService::messagesAvailable,
                     [&] { answeredWithin = exchange.response->isAnswered(); });
    module.messages.addMessage(message(QStringLiteral("1"), QStringLiteral("Hello")));
    QVERIFY(answeredWithin);
    QCOMPARE(exchange.calls(), messagesAnswer(module));
    const QJsonArray answered = QJsonDocument::fromJson(exchange.response->body()).array();
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.at(0).toObject().value(QLatin1String("title")).toString(),
             QStringLiteral("Hello"));
}

void TestMessageEventController::twoWaitingClientsAreAnsweredByTheSameMessage()
{
    Module module;
    Exchange first(module.strategy, poll);
    Exchange second(module.strategy, poll);
    first.handle();
    second.handle();
    module.messages.addMessage(message(QStringLiteral("1")));
    QCOMPARE(first.calls(), messagesAnswer(module));
    QCOMPARE(second.calls(), messagesAnswer(module));
}

void TestMessageEventController::withMessagesStoredEveryPollAnswersAtOnceUntilTheyAreAcknowledged()
{
    Module module;
    module.messages.addMessage(message(QStringLiteral("1")));
    module.messages.addMessage(message(QStringLiteral("2")));
    for (int i = 0; i < 3; ++i) {
        Exchange exchange(module.strategy, poll);
        exchange.handle();
        QCOMPARE(exchange.calls(), messagesAnswer(module));
    }
    Exchange(module.strategy, {Request::Post, QStringLiteral("/message"), R"(["1", "2"])"})
        .handle();
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    QCOMPARE(exchange.calls(), QStringList());
}

void TestMessageEventController::aDeleteIsHandledLikeAGet()
{
    Module module;
    module.messages.addMessage(message(QStringLiteral("1")));
    Exchange exchange(module.strategy, {Request::Delete, QStringLiteral("/message/event")});
    exchange.handle();
    QCOMPARE(exchange.calls(), messagesAnswer(module));
    QVERIFY(module.messages.hasMessages());
}

void TestMessageEventController::aWaitingClientIsAnsweredOnce()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    module.messages.addMessage(message(QStringLiteral("1")));
    module.messages.addMessage(message(QStringLiteral("2")));
    QCOMPARE(exchange.response->statuses(), QVector<int>{200});
    QCOMPARE(QJsonDocument::fromJson(exchange.response->body()).array().size(), 1);
}

void TestMessageEventController::aMessageThatComesWhileAnsweringDoesNotAnswerAgain()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    exchange.response->onEnd = [&] {
        exchange.response->onEnd = nullptr;
        module.messages.addMessage(message(QStringLiteral("2")));
    };
    module.messages.addMessage(message(QStringLiteral("1")));
    QCOMPARE(exchange.response->statuses(), QVector<int>{200});
    QCOMPARE(QJsonDocument::fromJson(exchange.response->body()).array().size(), 1);
}

void TestMessageEventController::anAnsweredControllerDeletesItself()
{
    Module module;
    Exchange waiting(module.strategy, poll);
    waiting.handle();
    deleteDeferred();
    QVERIFY(waiting.isServed());
    module.messages.addMessage(message(QStringLiteral("1")));
    QVERIFY(waiting.isServed());
    Exchange immediate(module.strategy, poll);
    immediate.handle();
    QVERIFY(immediate.isServed());
    deleteDeferred();
    QVERIFY(!waiting.isServed());
    QVERIFY(!immediate.isServed());
}

void TestMessageEventController::aClientThatVanishesWhileWaitingIsForgotten()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    exchange.close();
    module.messages.addMessage(message(QStringLiteral("1")));
    QCOMPARE(exchange.calls(), QStringList());
}

void TestMessageEventController::aClientThatVanishesWhileOthersAreAnsweredIsForgotten()
{
    Module module;
    Exchange first(module.strategy, poll);
    Exchange second(module.strategy, poll);
    first.handle();
    second.handle();
    first.response->onEnd = [&] { second.close(); };
    module.messages.addMessage(message(QStringLiteral("1")));
    QCOMPARE(first.response->statuses(), QVector<int>{200});
    QCOMPARE(second.calls(), QStringList());
}

void TestMessageEventController::changesOfContextsDoNotAnswer()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    exchange.handle();
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1})"));
    QCOMPARE(exchange.calls(), QStringList());
}

void TestMessageEventController::theSlotIsASlot()
{
    Module module;
    Exchange exchange(module.strategy, poll);
    auto *controller = dynamic_cast<QObject *>(exchange.controller());
    QVERIFY(controller);
    QVERIFY(QMetaObject::invokeMethod(controller, "onMessagesAvailable"));
    QCOMPARE(exchange.calls(), jsonAnswer(200, "[\n]\n"));
}

void TestMessageEventController::logsWaitingAndAnswering()
{
    Module module;
    support::LogCapture log;
    Exchange exchange(module.strategy, poll);
    int linesAtEnd = 0;
    exchange.response->onEnd = [&] { linesAtEnd = debugLines(log, category).size(); };
    exchange.handle();
    module.messages.addMessage(message(QStringLiteral("1")));
    QCOMPARE(linesAtEnd, 3);
    QCOMPARE(
        debugLines(log, category),
        (QStringList{QStringLiteral("Wait for messages becoming available..."),
                     QStringLiteral("Trying to disconnect..."),
                     QStringLiteral("Messages have become available. Returning long-polling.")}));
}

void TestMessageEventController::logsAnImmediateAnswer()
{
    Module module;
    module.messages.addMessage(message(QStringLiteral("1")));
    support::LogCapture log;
    Exchange(module.strategy, poll).handle();
    QCOMPARE(
        debugLines(log, category),
        (QStringList{QStringLiteral("There are outstanding messages. Immediately return."),
                     QStringLiteral("Trying to disconnect..."),
                     QStringLiteral("Messages have become available. Returning long-polling.")}));
}

QTEST_GUILESS_MAIN(TestMessageEventController)
#include "tst_messageeventcontroller.moc"
