#include "http/contextformcontroller.h"

#include "modulefixture.h"

#include <QtTest/QTest>

class TestContextFormController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPostedFormNeverReceivesAnAnswer();
};

void TestContextFormController::aPostedFormNeverReceivesAnAnswer()
{
    Module module;
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1})"));
    module.publisher.clear();
    Exchange exchange(module.strategy,
                      {Request::Post, QStringLiteral("/context/abc/$form"), R"({"a": 2})"});
    exchange.handle();
    module.contexts.setContext(QStringLiteral("abc"), json(R"({"a": 1, "inbox": 1})"));
    module.messages.addMessage({});
    QCoreApplication::processEvents();
    deleteDeferred();
    QCOMPARE(exchange.calls(), QStringList());
    QVERIFY(module.publisher.chunks().isEmpty());
    QCOMPARE(module.contexts.context(QStringLiteral("abc")).toObject(),
             json(R"({"a": 1, "inbox": 1})"));
}

QTEST_GUILESS_MAIN(TestContextFormController)
#include "tst_contextformcontroller.moc"
