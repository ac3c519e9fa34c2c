#include "modulefixture.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QTest>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <vector>

namespace {

/// A poll beside what it should have been answered so far.
struct Poll
{
    Poll(Module &module, const FakeRequest &request, const QString &polledId,
         const QString &awaitedItem)
        : exchange(module.strategy, request)
        , id(polledId)
        , item(awaitedItem)
    {
    }

    Exchange exchange;
    QString id;
    QString item;
    QStringList expected;
    bool isWaiting = false;
};

/// The rules of event polling written straight down: one version of each context counts as sent for
/// all clients, and everybody who waits hears of a change in the order of asking.
class Model
{
public:
    explicit Model(Module &module)
        : m_module(module)
    {
    }

    void ask(Poll &poll)
    {
        const QJsonObject current = m_module.contexts.context(poll.id).toObject();
        if (m_sent[poll.id] == current) {
            poll.isWaiting = true;
            return;
        }
        m_sent[poll.id] = current;
        tell(poll, m_module.contexts.context(poll.id));
    }

    void tell(Poll &poll, const QJsonValue &value)
    {
        const QStringList uncached{
            QStringLiteral("setHeader Cache-Control: no-cache, no-store, must-revalidate"),
            QStringLiteral("setHeader Pragma: no-cache"), QStringLiteral("setHeader Expires: 0")};
        if (value.isNull()) {
            poll.expected += uncached + bareAnswer(404);
            return;
        }
        const QJsonObject context = value.toObject();
        if (!poll.item.isEmpty() && !context.contains(poll.item))
            return;
        poll.expected += uncached + jsonAnswer(200, printed(context));
        poll.isWaiting = false;
        m_sent[poll.id] = context;
        ++answered;
    }

    int answered = 0;

private:
    Module &m_module;
    std::map<QString, QJsonObject> m_sent;
};

/// What clients and services do to two contexts and those who follow them, at random.
class Walk
{
public:
    explicit Walk(unsigned seed)
        : m_random(seed)
    {
    }

    void step()
    {
        switch (pick(10)) {
        case 0:
        case 1:
        case 2:
        case 3:
            return change([this](const QString &id) { m_module.contexts.setContext(id, value()); });
        case 4:
            return change(
                [this](const QString &id) { m_module.contexts.updateContext(id, value()); });
        case 5:
            return change([this](const QString &id) { m_module.contexts.removeContext(id); });
        case 6:
            return leave();
        default:
            return poll();
        }
    }

    /// The first poll that was not answered as it should have been; null when there is none.
    const Poll *wrong() const
    {
        for (const auto &poll : m_polls) {
            if (poll->exchange.calls() != poll->expected)
                return poll.get();
        }
        return nullptr;
    }

    /// Whether the clients that the last step answered were answered in the order of the rules.
    bool wasInOrder()
    {
        const bool was = m_order == m_expectedOrder;
        m_order.clear();
        m_expectedOrder.clear();
        return was;
    }

    int answered() const { return m_model.answered; }
    int left() const { return m_left; }

    /// Answered polls end themselves, from the event loop.
    void letGo()
    {
        deleteDeferred();
        m_polls.erase(std::remove_if(m_polls.begin(), m_polls.end(),
                                     [](const auto &poll) { return !poll->exchange.isServed(); }),
                      m_polls.end());
    }

private:
    int pick(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }
    QString id() { return pick(2) == 0 ? QStringLiteral("abc") : QStringLiteral("ABC"); }

    QJsonObject value()
    {
        QJsonObject object;
        for (const char *key : {"patient", "case", "inbox", "matchingItems"}) {
            if (pick(2) == 0)
                object.insert(QLatin1String(key),
                              pick(2) == 0 ? QJsonValue(pick(2)) : QJsonArray{});
        }
        return object;
    }

    template<typename Write>
    void change(Write write)
    {
        const QString changed = id();
        const QJsonValue before = m_module.contexts.context(changed);
        write(changed);
        const QJsonValue after = m_module.contexts.context(changed);
        if (before == after)
            return;
        for (const auto &poll : m_polls) {
            if (poll->isWaiting && poll->id == changed)
                tell(*poll, [&] { m_model.tell(*poll, after); });
        }
    }

    void poll()
    {
        const QString polled = id();
        const auto method = pick(20) == 0 ? Request::Delete : Request::Get;
        FakeRequest request(method, QStringLiteral("/context/%1/event").arg(polled));
        QString item;
        if (pick(3) == 0) {
            item = pick(2) == 0 ? QStringLiteral("patient") : QStringLiteral("inbox");
            request.with(QStringLiteral("Prefer"), QStringLiteral("wait=$.") + item);
        } else if (pick(3) == 0) {
            request.with(QStringLiteral("Prefer"), QStringLiteral("wait=5"));
        }
        m_polls.push_back(std::make_unique<Poll>(m_module, request, polled, item));
        Poll *const made = m_polls.back().get();
        made->exchange.response->onEnd = [this, made] { m_order.append(made); };
        if (method == Request::Get)
            tell(*made, [&] { m_model.ask(*made); });
        made->exchange.handle();
    }

    template<typename Rule>
    void tell(Poll &poll, Rule rule)
    {
        const int before = poll.expected.size();
        rule();
        if (poll.expected.size() != before)
            m_expectedOrder.append(&poll);
    }

    void leave()
    {
        if (m_polls.empty())
            return;
        m_polls.erase(m_polls.begin() + pick(static_cast<int>(m_polls.size())));
        ++m_left;
    }

    std::mt19937 m_random;
    Module m_module;
    Model m_model{m_module};
    std::vector<std::unique_ptr<Poll>> m_polls;
    QVector<const Poll *> m_order; ///< of those that the step answered
    QVector<const Poll *> m_expectedOrder;
    int m_left = 0;
};

} // namespace

/// Long histories of changes and polls, compared step by step with the rules.
class TestEventPollingModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyClientIsAnsweredByTheRules_data();
    void everyClientIsAnsweredByTheRules();
};

void TestEventPollingModel::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); // a line for every step
}

void TestEventPollingModel::everyClientIsAnsweredByTheRules_data()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 1; seed <= 20; ++seed)
        QTest::newRow(QByteArray::number(seed).constData()) << seed;
}

void TestEventPollingModel::everyClientIsAnsweredByTheRules()
{
    QFETCH(unsigned, seed);
    constexpr int steps = 600;
    Walk walk(seed);
    for (int step = 0; step < steps; ++step) {
        walk.step();
        if (const Poll *const wrong = walk.wrong()) {
            QCOMPARE(wrong->exchange.calls(), wrong->expected);
            QFAIL("not reached");
        }
        QVERIFY2(walk.wasInOrder(), QByteArray::number(step).constData());
        if (step % 3 == 0)
            walk.letGo();
    }
    QVERIFY(walk.answered() > steps / 20);
    QVERIFY(walk.left() > 0);
}

QTEST_GUILESS_MAIN(TestEventPollingModel)
#include "tst_eventpolling_model.moc"
