#include "contextfixture.h"

#include "context/printedtexts.h"

#include <QtTest/QtTest>

namespace {

const QString Id = QStringLiteral("id");

const void *bytesOf(const QByteArray &text)
{
    return text.constData();
}

} // namespace

class TestPrintedContext : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isTheIndentedObject();
    void unknownIdPrintsAsAnEmptyObjectAndIsNotEntered();
    void arrayPrintsAsAnEmptyObject();
    void anObjectThatIsStoredSharesTheKeptText();
    void anotherObjectIsPrintedAndNothingIsEntered();
    void isSharedUntilTheContextChanges();
    void equalValueKeepsTheText();
    void specialMembersChangeTheText();
    void removalForgetsTheText();
    void isNewWhenTheChangeIsAnnounced();
    void textsStayWithinTheLimit();
    void whatWasUsedLongestAgoGoesFirst();
    void hugeTextIsKeptAlone();
    void keptTextHasNoSpareRoom_data();
    void keptTextHasNoSpareRoom();
};

void TestPrintedContext::isTheIndentedObject()
{
    ContextFixture f;
    const QJsonObject value = object(R"({"b":[1,{"c":null}],"a":"x"})");
    f.service->setContext(Id, value);
    QCOMPARE(f.service->printedContext(Id), QJsonDocument(value).toJson(QJsonDocument::Indented));
}

void TestPrintedContext::unknownIdPrintsAsAnEmptyObjectAndIsNotEntered()
{
    ContextFixture f;
    QCOMPARE(f.service->printedContext(Id), QByteArray("{\n}\n"));
    QVERIFY(f.service->contextIds().isEmpty());
    f.service->setContext(Id, object(R"({"a":1})"));
    QVERIFY(f.service->printedContext(Id).contains('a'));
}

void TestPrintedContext::arrayPrintsAsAnEmptyObject()
{
    ContextFixture f;
    f.service->setContext(Id, array("[1,2]"));
    QCOMPARE(f.service->printedContext(Id), QByteArray("{\n}\n"));
}

void TestPrintedContext::anObjectThatIsStoredSharesTheKeptText()
{
    ContextFixture f;
    const QJsonObject value = object(R"({"a":1})");
    f.service->setContext(Id, value);
    QCOMPARE(bytesOf(f.service->printedContext(Id, value)), bytesOf(f.service->printedContext(Id)));
}

void TestPrintedContext::anotherObjectIsPrintedAndNothingIsEntered()
{
    ContextFixture f;
    const QJsonObject other = object(R"({"a":2})");
    QCOMPARE(f.service->printedContext(Id, other), QJsonDocument(other).toJson());
    QVERIFY(f.service->contextIds().isEmpty());
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(f.service->printedContext(Id, other), QJsonDocument(other).toJson());
}

void TestPrintedContext::isSharedUntilTheContextChanges()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    const QByteArray first = f.service->printedContext(Id);
    QCOMPARE(bytesOf(f.service->printedContext(Id)), bytesOf(first));
    f.service->updateContext(Id, object(R"({"a":2})"));
    QVERIFY(f.service->printedContext(Id).contains('2'));
    QVERIFY(first.contains('1'));
}

void TestPrintedContext::equalValueKeepsTheText()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    const QByteArray first = f.service->printedContext(Id);
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(bytesOf(f.service->printedContext(Id)), bytesOf(first));
}

void TestPrintedContext::specialMembersChangeTheText()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->printedContext(Id);
    f.service->updateContext(Id, object(R"({"inbox":"letter"})"));
    QVERIFY(f.service->printedContext(Id).contains("letter"));
}

void TestPrintedContext::removalForgetsTheText()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->printedContext(Id);
    f.service->removeContext(Id);
    QCOMPARE(f.service->printedContext(Id), QByteArray("{\n}\n"));
}

void TestPrintedContext::isNewWhenTheChangeIsAnnounced()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->printedContext(Id);
    QVector<QByteArray> seen;
    f.publisher.onPublish = [&](const QJsonValue &) { seen.append(f.service->printedContext(Id)); };
    QObject::connect(f.service.get(), &ContextService::contextChanged,
                     [&](const QString &id) { seen.append(f.service->printedContext(id)); });
    f.service->setContext(Id, object(R"({"a":2})"));
    QCOMPARE(seen.size(), 2);
    QVERIFY(seen.at(0).contains('2'));
    QCOMPARE(bytesOf(seen.at(0)), bytesOf(seen.at(1)));
}

void TestPrintedContext::textsStayWithinTheLimit()
{
    PrintedTexts texts;
    const QByteArray text(100 * 1024, 'x');
    for (int i = 0; i < 1000; ++i)
        texts.keep(QString::number(i), text);
    QVERIFY(texts.count() * text.size() <= PrintedTexts::MaximumBytes);
    QVERIFY(texts.count() * text.size() > PrintedTexts::MaximumBytes / 2);
    QVERIFY(!texts.find(QStringLiteral("0")));
    QVERIFY(texts.find(QStringLiteral("999")));

    // Small texts count with what it takes to keep them.
    for (int i = 0; i < 100000; ++i)
        texts.keep(QString::number(i), "x");
    QVERIFY(texts.count() < 30000);
}

void TestPrintedContext::whatWasUsedLongestAgoGoesFirst()
{
    PrintedTexts texts;
    const QByteArray text(PrintedTexts::MaximumBytes / 4, 'x');
    for (const char *id : {"1", "2", "3"})
        texts.keep(QString::fromLatin1(id), text);
    QVERIFY(texts.find(QStringLiteral("1")));
    texts.keep(QStringLiteral("4"), text);
    QVERIFY(texts.find(QStringLiteral("1")));
    QVERIFY(!texts.find(QStringLiteral("2")));
}

void TestPrintedContext::hugeTextIsKeptAlone()
{
    PrintedTexts texts;
    texts.keep(QStringLiteral("small"), "x");
    texts.keep(QStringLiteral("huge"), QByteArray(PrintedTexts::MaximumBytes * 2, 'x'));
    QVERIFY(texts.find(QStringLiteral("huge")));
    QCOMPARE(texts.count(), 1);
    texts.keep(QStringLiteral("small"), "x");
    QVERIFY(!texts.find(QStringLiteral("huge")));
    QCOMPARE(texts.count(), 1);
}

void TestPrintedContext::keptTextHasNoSpareRoom_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("small") << 1000;
    QTest::newRow("large") << 1000 * 1000;
}

void TestPrintedContext::keptTextHasNoSpareRoom()
{
    QFETCH(int, length);
    ContextFixture f;
    f.service->setContext(Id,
                          QJsonObject{{QStringLiteral("a"), QString(length, QLatin1Char('x'))}});
    const QByteArray text = f.service->printedContext(Id);
    QCOMPARE(text.capacity(), text.size());
    QCOMPARE(bytesOf(f.service->printedContext(Id)), bytesOf(text));
}

QTEST_GUILESS_MAIN(TestPrintedContext)
#include "tst_printedcontext.moc"
