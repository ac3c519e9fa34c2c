#include "http/contexteventhub.h"

#include "http/contexteventcontroller.h"
#include "modulefixture.h"

#include <QtTest/QTest>

namespace {

const QString id = QStringLiteral("abc");

/// A module with clients that wait for one context, and the order in which they are answered.
struct Crowd
{
    explicit Crowd(int size)
    {
        for (int i = 0; i < size; ++i)
            join();
    }

    void join(const QString &prefer = QString())
    {
        const int number = static_cast<int>(clients.size());
        FakeRequest request(Request::Get, QStringLiteral("/context/abc/event"));
        request.with(QStringLiteral("Prefer"), prefer);
        clients.push_back(std::make_unique<Exchange>(module.strategy, request));
        clients.back()->response->onEnd = [this, number] {
            answered.append(number);
            if (onAnswer)
                onAnswer(number);
        };
        clients.back()->handle();
    }

    void change(const char *text) { module.contexts.setContext(id, json(text)); }
    QByteArray bodyOf(std::size_t number) const { return clients.at(number)->response->body(); }

    Module module;
    std::function<void(int)> onAnswer;
    QVector<int> answered;
    std::vector<std::unique_ptr<Exchange>> clients;
};

} // namespace

class TestContextEventHub : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void allWaitingClientsShareOnePrintedText();
    void theNextGetSharesTheTextToo();
    void waitersAreToldInTheOrderTheyBeganToWait();
    void aWaiterDestroyedWhileWaitingIsForgotten();
    void waitersDestroyedDuringTheWalkAreSkipped();
    void theLastWaiterDestroyedDuringTheWalkEndsIt();
    void aWaiterThatJoinsDuringTheWalkHearsOfTheNextChange();
    void aChangeDuringTheWalkReachesTheRestFirst();
    void theWalkGoesOnWithItsOwnValueAfterAChangeWithinIt();
    void aRemovalDuringTheWalkAnswersTheRest404();
    void aReceiverBeforeTheHubMayChangeTheContextAgain();
    void aControllerToldDirectlyDuringTheWalkAnswersWhatItIsTold();
    void waitersOfAnotherContextAreNotTouchedByTheWalk();
    void waitersOutliveTheHub();
    void tenThousandWaitersComeAndGoInAnyOrder();
};

void TestContextEventHub::allWaitingClientsShareOnePrintedText()
{
    Crowd crowd(100);
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered.size(), 100);
    for (std::size_t i = 0; i < 100; ++i) {
        QCOMPARE(static_cast<const void *>(crowd.bodyOf(i).constData()),
                 static_cast<const void *>(crowd.bodyOf(0).constData()));
    }
    QCOMPARE(crowd.bodyOf(0), printed(json(R"({"a": 1})")));
}

void TestContextEventHub::theNextGetSharesTheTextToo()
{
    Crowd crowd(1);
    crowd.change(R"({"a": 1})");
    Exchange get(crowd.module.strategy, {Request::Get, QStringLiteral("/context/abc")});
    get.handle();
    QCOMPARE(static_cast<const void *>(get.response->body().constData()),
             static_cast<const void *>(crowd.bodyOf(0).constData()));
}

void TestContextEventHub::waitersAreToldInTheOrderTheyBeganToWait()
{
    Crowd crowd(4);
    crowd.clients.at(1)->close();
    crowd.join();
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 2, 3, 4}));
}

void TestContextEventHub::aWaiterDestroyedWhileWaitingIsForgotten()
{
    Crowd crowd(1);
    crowd.clients.at(0)->close();
    crowd.change(R"({"a": 1})");
    crowd.module.contexts.removeContext(id);
    QCOMPARE(crowd.clients.at(0)->calls(), QStringList());
}

void TestContextEventHub::waitersDestroyedDuringTheWalkAreSkipped()
{
    Crowd crowd(6);
    crowd.onAnswer = [&](int number) {
        if (number == 1) {
            crowd.clients.at(0)->close(); // one that is done
            crowd.clients.at(2)->close(); // the next one
            crowd.clients.at(4)->close(); // one further on
        }
    };
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 1, 3, 5}));
}

void TestContextEventHub::theLastWaiterDestroyedDuringTheWalkEndsIt()
{
    Crowd crowd(2);
    crowd.onAnswer = [&](int) { crowd.clients.at(1)->close(); };
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered, QVector<int>{0});
    crowd.join(); // answered at once or waiting: the queue has to be whole again
    crowd.change(R"({"a": 2})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 2}));
}

void TestContextEventHub::aWaiterThatJoinsDuringTheWalkHearsOfTheNextChange()
{
    Crowd crowd(3);
    crowd.onAnswer = [&](int number) {
        if (number == 1) // the first one's answer counts as sent by now, so a new client waits
            crowd.join();
    };
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 1, 2}));
    crowd.change(R"({"a": 1, "inbox": 2})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 1, 2, 3}));
    QCOMPARE(crowd.bodyOf(3), printed(json(R"({"a": 1, "inbox": 2})")));
}

void TestContextEventHub::aChangeDuringTheWalkReachesTheRestFirst()
{
    Crowd crowd(3);
    crowd.onAnswer = [&](int number) {
        if (number == 0)
            crowd.change(R"({"a": 1, "inbox": 2})");
    };
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 1, 2}));
    QCOMPARE(crowd.bodyOf(0), printed(json(R"({"a": 1})")));
    QCOMPARE(crowd.bodyOf(1), printed(json(R"({"a": 1, "inbox": 2})")));
    QCOMPARE(crowd.bodyOf(2), printed(json(R"({"a": 1, "inbox": 2})")));
    QCOMPARE(crowd.clients.at(1)->response->statuses(), QVector<int>{200});
}

void TestContextEventHub::theWalkGoesOnWithItsOwnValueAfterAChangeWithinIt()
{
    Crowd crowd(1);
    crowd.join(QStringLiteral("wait=$.patient"));
    crowd.join(QStringLiteral("wait=$.patient"));
    crowd.onAnswer = [&](int number) {
        if (number == 0)
            crowd.change(R"({"inbox": 2})");
    };
    crowd.change(R"({"patient": 1})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 1, 2}));
    QCOMPARE(crowd.bodyOf(1), printed(json(R"({"patient": 1})")));
    QCOMPARE(static_cast<const void *>(crowd.bodyOf(2).constData()),
             static_cast<const void *>(crowd.bodyOf(0).constData()));
}

void TestContextEventHub::aRemovalDuringTheWalkAnswersTheRest404()
{
    Crowd crowd(2);
    crowd.onAnswer = [&](int number) {
        if (number == 0)
            crowd.module.contexts.removeContext(id);
    };
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.clients.at(0)->response->statuses(), QVector<int>{200});
    // It stays registered with its 404, so the walk reaches it with the older value too.
    QCOMPARE(crowd.clients.at(1)->response->statuses(), (QVector<int>{404, 200}));
}

void TestContextEventHub::aReceiverBeforeTheHubMayChangeTheContextAgain()
{
    HostHandle host;
    FileService files;
    support::MovableClock clock;
    MessageService messages;
    ContextService contexts(&host, &files, &clock);
    bool again = true;
    QObject::connect(&contexts, &ContextService::contextChanged, [&](const QString &key) {
        if (std::exchange(again, false))
            contexts.setContext(key, json(R"({"inbox": 2})"));
    });
    ContextControllerStrategy strategy(&contexts, &messages);
    const FakeRequest poll(Request::Get, QStringLiteral("/context/abc/event"));
    FakeRequest pollForA =
        FakeRequest(poll).with(QStringLiteral("Prefer"), QStringLiteral("wait=$.a"));
    Exchange any(strategy, poll);
    any.handle();
    Exchange forA(strategy, pollForA);
    forA.handle();
    contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(any.response->body(), printed(json(R"({"inbox": 2})")));
    QCOMPARE(forA.response->body(), printed(json(R"({"a": 1})")));
}

void TestContextEventHub::aControllerToldDirectlyDuringTheWalkAnswersWhatItIsTold()
{
    Crowd crowd(2);
    crowd.onAnswer = [&](int number) {
        auto *other = dynamic_cast<ContextEventController *>(crowd.clients.at(1)->controller());
        if (number == 0)
            other->onContextChanged(id, json(R"({"b": 2})"));
    };
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.bodyOf(0), printed(json(R"({"a": 1})")));
    QCOMPARE(crowd.bodyOf(1), printed(json(R"({"b": 2})")));
    QCOMPARE(crowd.clients.at(1)->response->bodies().size(), 1);
}

void TestContextEventHub::waitersOfAnotherContextAreNotTouchedByTheWalk()
{
    Crowd crowd(2);
    Exchange other(crowd.module.strategy, {Request::Get, QStringLiteral("/context/other/event")});
    other.handle();
    crowd.onAnswer = [&](int) {
        crowd.module.contexts.setContext(QStringLiteral("other"), json(R"({"b": 1})"));
    };
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered, (QVector<int>{0, 1}));
    QCOMPARE(other.response->body(), printed(json(R"({"b": 1})")));
    QCOMPARE(crowd.bodyOf(1), printed(json(R"({"a": 1})")));
}

void TestContextEventHub::waitersOutliveTheHub()
{
    HostHandle host;
    FileService files;
    support::MovableClock clock;
    MessageService messages;
    ContextService contexts(&host, &files, &clock);
    auto strategy = std::make_unique<ContextControllerStrategy>(&contexts, &messages);
    Exchange first(*strategy, {Request::Get, QStringLiteral("/context/abc/event")});
    first.handle();
    Exchange second(*strategy, {Request::Get, QStringLiteral("/context/abc/event")});
    second.handle();
    strategy.reset();
    contexts.setContext(id, json(R"({"a": 1})"));
    QCOMPARE(first.calls(), QStringList());
    first.close();
    second.close();
    QVERIFY(!first.isServed() && !second.isServed());
}

void TestContextEventHub::tenThousandWaitersComeAndGoInAnyOrder()
{
    Crowd crowd(10000);
    QVector<int> left;
    for (int i = 0; i < 10000; ++i) {
        const int number = (i * 7919) % 10000; // 7919 is prime: every number once
        if (i < 9000)
            crowd.clients.at(static_cast<std::size_t>(number))->close();
        else
            left.append(number);
    }
    std::sort(left.begin(), left.end());
    crowd.change(R"({"a": 1})");
    QCOMPARE(crowd.answered, left);
}

QTEST_GUILESS_MAIN(TestContextEventHub)
#include "tst_contexteventhub.moc"
