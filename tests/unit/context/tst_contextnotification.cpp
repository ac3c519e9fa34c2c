#include "contextfixture.h"

#include <QtTest/QtTest>

namespace {

const QString Id = QStringLiteral("id");

QStringList steps(std::initializer_list<const char *> names)
{
    QStringList list;
    for (const char *name : names)
        list.append(QString::fromLatin1(name));
    return list;
}

} // namespace

class TestContextNotification : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changedChunkHasExactlyItsMembers();
    void createdChunkHasExactlyItsMembers();
    void removedChunkHasExactlyItsMembers();
    void firstObjectIsPublishedWhole();
    void firstEmptyObjectEmitsButPublishesNothing();
    void firstArrayEmitsButPublishesNothing();
    void arrayOverObjectEmitsButPublishesNothing();
    void objectOverArrayIsPublishedWhole();
    void specialMembersEmitButPublishNothing_data();
    void specialMembersEmitButPublishNothing();
    void removedMemberEmitsButPublishesNothing();
    void sameValueEmitsAndPublishesNothing_data();
    void sameValueEmitsAndPublishesNothing();
    void changeIsPublishedBeforeTheSignal();
    void signalCarriesTheStoredValue();
    void createdIsPublishedWithoutASignal();
    void removedIsPublishedAfterTheIdIsGoneAndBeforeTheSignal();
    void removingAnUnknownIdPublishesWithoutASignal();
    void removingANullPublishesWithoutASignal();
    void settingNullAnnouncesARemoval();
    void withoutAHostSignalsStillFire();
    void detachedHostIsNotCalled();
    void logOfNotifying();
    void notifyingIsNotLoggedWithoutAHost();
    void changeInsideThePublishIsWhatTheSignalCarries();
    void changeBackInsideThePublishEmitsNoSecondSignal();
    void removalInsideThePublishEmitsNoChange();
    void removalAndReadInsideThePublishEmitNoChange();
};

void TestContextNotification::changedChunkHasExactlyItsMembers()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"b":2,"matchingItems":[1]})"));
    f.forget();
    f.service->setContext(Id, object(R"({"a":1,"b":3,"c":{"d":[]},"inbox":1})"));
    QCOMPARE(f.publisher.chunks().size(), 1);
    QCOMPARE(f.publisher.last(), object(R"({
        "source": "z9-plugin-context",
        "version": "1.1.2",
        "data": {
            "event": "context-changed",
            "id": "id",
            "data": {"b": 3, "c": {"d": []}},
            "context": {"a": 1, "b": 3, "c": {"d": []}, "inbox": 1, "matchingItems": []}
        }
    })"));
}

void TestContextNotification::createdChunkHasExactlyItsMembers()
{
    ContextFixture f;
    const QString id = f.service->createContext();
    QCOMPARE(f.publisher.chunks().size(), 1);
    QCOMPARE(
        f.publisher.last(),
        (QJsonObject{{QStringLiteral("exchange"), QStringLiteral("context-created")},
                     {QStringLiteral("data"), QJsonObject{{QStringLiteral("contextId"), id}}}}));
}

void TestContextNotification::removedChunkHasExactlyItsMembers()
{
    ContextFixture f;
    f.service->removeContext(Id);
    QCOMPARE(f.publisher.chunks().size(), 1);
    QCOMPARE(f.publisher.last(),
             object(R"({"exchange":"context-removed","data":{"contextId":"id"}})"));
}

void TestContextNotification::firstObjectIsPublishedWhole()
{
    ContextFixture f;
    const QJsonObject value = object(R"({"patient":1,"matchingItems":[1],"inbox":2})");
    f.service->setContext(Id, value);
    const QJsonObject event = f.publisher.last().value(QLatin1String("data")).toObject();
    QCOMPARE(event.value(QLatin1String("data")).toObject(), value);
    QCOMPARE(event.value(QLatin1String("context")).toObject(), value);
    QCOMPARE(f.steps, steps({"publish", "contextChanged"}));
}

void TestContextNotification::firstEmptyObjectEmitsButPublishesNothing()
{
    ContextFixture f;
    f.service->setContext(Id, QJsonObject());
    QCOMPARE(f.steps, steps({"contextChanged"}));
}

void TestContextNotification::firstArrayEmitsButPublishesNothing()
{
    ContextFixture f;
    f.service->setContext(Id, array("[1]"));
    QCOMPARE(f.steps, steps({"contextChanged"}));
}

void TestContextNotification::arrayOverObjectEmitsButPublishesNothing()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.forget();
    f.service->setContext(Id, array("[1]"));
    QCOMPARE(f.steps, steps({"contextChanged"}));
    QCOMPARE(f.changed.at(0).second, QJsonValue(QJsonObject()));
}

void TestContextNotification::objectOverArrayIsPublishedWhole()
{
    ContextFixture f;
    f.service->setContext(Id, array("[1]"));
    f.forget();
    f.service->setContext(Id, object(R"({"inbox":1})"));
    QCOMPARE(f.steps, steps({"publish", "contextChanged"}));
    QCOMPARE(
        f.publisher.last().value(QLatin1String("data")).toObject().value(QLatin1String("data")),
        QJsonValue(object(R"({"inbox":1})")));
}

void TestContextNotification::specialMembersEmitButPublishNothing_data()
{
    QTest::addColumn<QString>("key");
    for (const char *key : {"matchingItems", "actionRequests", "inbox", "attachments"})
        QTest::newRow(key) << QString::fromLatin1(key);
}

void TestContextNotification::specialMembersEmitButPublishNothing()
{
    QFETCH(QString, key);
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.forget();
    f.service->updateContext(Id, QJsonObject{{key, array("[1]")}});
    QCOMPARE(f.steps, steps({"contextChanged"}));
    QCOMPARE(f.changed.at(0).second.toObject().value(key), QJsonValue(array("[1]")));
}

void TestContextNotification::removedMemberEmitsButPublishesNothing()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"b":2})"));
    f.forget();
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(f.steps, steps({"contextChanged"}));
}

void TestContextNotification::sameValueEmitsAndPublishesNothing_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("object") << QJsonValue(object(R"({"a":{"b":[1,"x"]},"matchingItems":[2]})"));
    QTest::newRow("array") << QJsonValue(array("[1,2]"));
    QTest::newRow("text") << QJsonValue(QStringLiteral("x"));
}

void TestContextNotification::sameValueEmitsAndPublishesNothing()
{
    QFETCH(QJsonValue, value);
    ContextFixture f;
    f.service->setContext(Id, value);
    f.forget();
    f.service->setContext(Id, value);
    f.service->setContext(Id, f.service->context(Id));
    // A value of its own with the same content.
    const QJsonArray copy =
        QJsonDocument::fromJson(QJsonDocument(QJsonArray{value}).toJson()).array();
    f.service->setContext(Id, copy.at(0));
    QVERIFY(f.steps.isEmpty());
    QCOMPARE(f.service->context(Id), value);
}

void TestContextNotification::changeIsPublishedBeforeTheSignal()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->setContext(Id, object(R"({"a":2})"));
    QCOMPARE(f.steps, steps({"publish", "contextChanged", "publish", "contextChanged"}));
}

void TestContextNotification::signalCarriesTheStoredValue()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->setContext(Id, object(R"({"a":2,"matchingItems":[1]})"));
    QCOMPARE(f.changed.size(), 2);
    QCOMPARE(f.changed.at(1).first, Id);
    QCOMPARE(f.changed.at(1).second, QJsonValue(object(R"({"a":2,"matchingItems":[]})")));
}

void TestContextNotification::createdIsPublishedWithoutASignal()
{
    ContextFixture f;
    f.service->createContext();
    QCOMPARE(f.steps, steps({"publish"}));
}

void TestContextNotification::removedIsPublishedAfterTheIdIsGoneAndBeforeTheSignal()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.forget();
    f.publisher.onPublish = [&](const QJsonValue &) {
        f.steps.append(QStringLiteral("publish"));
        QVERIFY(f.service->contextIds().isEmpty());
    };
    f.service->removeContext(Id);
    QCOMPARE(f.steps, steps({"publish", "contextRemoved"}));
    QCOMPARE(f.removed, QStringList{Id});
}

void TestContextNotification::removingAnUnknownIdPublishesWithoutASignal()
{
    ContextFixture f;
    f.service->removeContext(Id);
    QCOMPARE(f.steps, steps({"publish"}));
}

void TestContextNotification::removingANullPublishesWithoutASignal()
{
    ContextFixture f;
    f.service->context(Id);
    f.service->removeContext(Id);
    QCOMPARE(f.steps, steps({"publish"}));
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextNotification::settingNullAnnouncesARemoval()
{
    ContextFixture f;
    f.service->setContext(Id, array("[]"));
    f.forget();
    f.service->setContext(Id, QJsonValue::Null);
    QCOMPARE(f.steps, steps({"publish", "contextRemoved"}));
    QCOMPARE(f.publisher.on(QStringLiteral("context-removed")).size(), 1);
}

void TestContextNotification::withoutAHostSignalsStillFire()
{
    ContextFixture f;
    f.host.publisher = nullptr;
    f.service->setContext(f.service->createContext(), object(R"({"a":1})"));
    f.service->removeContext(f.service->contextIds().constFirst());
    QCOMPARE(f.steps, steps({"contextChanged", "contextRemoved"}));
}

void TestContextNotification::detachedHostIsNotCalled()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(f.publisher.chunks().size(), 1);
    f.host.publisher = nullptr;
    f.service->setContext(Id, object(R"({"a":2})"));
    QCOMPARE(f.publisher.chunks().size(), 1);
    f.host.publisher = &f.publisher;
    f.service->setContext(Id, object(R"({"a":3})"));
    QCOMPARE(f.publisher.chunks().size(), 2);
}

void TestContextNotification::logOfNotifying()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"b":1})"));
    support::LogCapture log;
    int linesAtPublish = 0;
    f.publisher.onPublish = [&](const QJsonValue &) { linesAtPublish = log.lines().size(); };
    f.service->setContext(Id, object(R"({"a":1,"b":2})"));
    const QVector<support::LogLine> lines = log.lines(serviceCategory());
    QCOMPARE(lines.size(), 4);
    QCOMPARE(linesAtPublish, 4);
    QCOMPARE(lines.at(3).level, QtDebugMsg);
    const QString expected =
        QString::fromLatin1(R"(Notifying context "id" changed. Update: "{\n    \"b\": 2\n}\n")");
    QCOMPARE(lines.at(3).message, expected);
}

void TestContextNotification::notifyingIsNotLoggedWithoutAHost()
{
    ContextFixture f;
    f.host.publisher = nullptr;
    support::LogCapture log;
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(log.lines(serviceCategory()).size(), 1);
}

void TestContextNotification::changeInsideThePublishIsWhatTheSignalCarries()
{
    ContextFixture f;
    f.publisher.onPublish = [&](const QJsonValue &) {
        f.publisher.onPublish = nullptr;
        f.service->setContext(Id, object(R"({"a":2})"));
    };
    f.service->setContext(Id, object(R"({"a":1})"));
    const QJsonValue last = object(R"({"a":2,"matchingItems":[]})");
    QCOMPARE(f.changed.size(), 2);
    QCOMPARE(f.changed.at(0).second, last);
    QCOMPARE(f.changed.at(1).second, last);
}

void TestContextNotification::changeBackInsideThePublishEmitsNoSecondSignal()
{
    ContextFixture f;
    const QJsonObject before = object(R"({"a":1,"matchingItems":[]})");
    f.service->setContext(Id, before);
    f.forget();
    f.publisher.onPublish = [&](const QJsonValue &) {
        f.publisher.onPublish = nullptr;
        f.service->setContext(Id, before);
    };
    f.service->setContext(Id, object(R"({"a":2})"));
    QCOMPARE(f.changed.size(), 1);
    QCOMPARE(f.changed.at(0).second, QJsonValue(before));
}

void TestContextNotification::removalInsideThePublishEmitsNoChange()
{
    ContextFixture f;
    f.publisher.onPublish = [&](const QJsonValue &) {
        f.publisher.onPublish = nullptr;
        f.service->removeContext(Id);
    };
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(f.steps, steps({"contextRemoved"}));
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextNotification::removalAndReadInsideThePublishEmitNoChange()
{
    ContextFixture f;
    f.publisher.onPublish = [&](const QJsonValue &) {
        f.publisher.onPublish = nullptr;
        f.service->removeContext(Id);
        QVERIFY(f.service->context(Id).isNull());
    };
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(f.steps, steps({"contextRemoved"}));
    QCOMPARE(f.service->contextIds(), QStringList{Id});
}

QTEST_GUILESS_MAIN(TestContextNotification)
#include "tst_contextnotification.moc"
