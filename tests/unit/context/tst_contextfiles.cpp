#include "contextfixture.h"

#include "context/contextattachment.h"
#include "fhir/coding.h"
#include "fhir/documentreference.h"

#include <QtTest/QtTest>

namespace {

const QString Id = QStringLiteral("id");
const QString Name = QStringLiteral("a.pdf");

domain::Coding coding()
{
    domain::Coding result;
    result.system = QStringLiteral("urn:types");
    result.code = QStringLiteral("pdf");
    return result;
}

QStringList attachedUrls(const QJsonValue &context)
{
    QStringList urls;
    const QJsonArray entries = context.toObject().value(QLatin1String("attachments")).toArray();
    for (const QJsonValue &entry : entries) {
        const QJsonObject content = entry.toObject().value(QLatin1String("content")).toObject();
        urls.append(content.value(QLatin1String("attachment"))
                        .toObject()
                        .value(QLatin1String("url"))
                        .toString());
    }
    return urls;
}

QJsonObject entryWithUrl(const QString &url)
{
    return {{QStringLiteral("content"), QJsonObject{{QStringLiteral("attachment"),
                                                     QJsonObject{{QStringLiteral("url"), url}}}}}};
}

} // namespace

class TestContextFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addedFileIsListedAndStored();
    void entryHasExactlyItsMembers();
    void entryReadsBackWithItsUrlAndAnEmptyCoding();
    void percentNumbersInIdAndNameStayInTheUrl();
    void existingKeyChangesOnlyTheBytes();
    void existingKeyIsNoUse();
    void logOfAnExistingKey();
    void keysOfTwoContextsMayMeet();
    void fileOutlivesItsContext();
    void fileOutlivesACollectedContext();
    void addingToAContextWithIdPublishesNothing();
    void addingToAContextWithoutIdIsAnOrdinaryChange();
    void addingToAnUnknownIdPublishesTheWholeObject();
    void addingToAnArrayStoresOnlyTheBytes();
    void attachmentsThatAreNoArrayAreReplaced();
    void ownIdMemberIsKept();
    void bytesAreThereWhenTheChangeIsAnnounced();
    void fileIsToldOfLikeAnUpdateOfTheList_data();
    void fileIsToldOfLikeAnUpdateOfTheList();
    void listThatSomebodyHoldsStaysAsItWas();

    void removedFileIsGone();
    void filesRemovedTogetherAreToldOfOneByOne();
    void filesRemovedTogetherFollowTheListAsItIsNow();
    void otherFilesStay();
    void nameThatIsListedTwiceIsRemovedTwice();
    void nameIsFoundInTheUrl_data();
    void nameIsFoundInTheUrl();
    void entriesWithoutAUrlStay();
    void removingFromAnUnknownIdCreatesAnEmptyList();
    void bytesWithoutAnEntryStay();

    void contentOfAnUnknownNameIsNullAndStoresNothing();
    void contentOfAnEmptyFileIsNotNull();
};

void TestContextFiles::addedFileIsListedAndStored()
{
    ContextFixture f;
    f.service->addFile(Id, Name, QByteArray("p\0df", 4), coding());
    f.service->addFile(Id, QStringLiteral("b.pdf"), "other", coding());
    QCOMPARE(f.service->fileContent(Id, Name), QByteArray("p\0df", 4));
    QVERIFY(f.files.contains(QStringLiteral("id_a.pdf")));
    QCOMPARE(attachedUrls(f.service->context(Id)),
             (QStringList{QStringLiteral("/context/id/file/a.pdf"),
                          QStringLiteral("/context/id/file/b.pdf")}));
}

void TestContextFiles::entryHasExactlyItsMembers()
{
    QCOMPARE(attachmentEntry(Id, Name, coding()), object(R"({
        "resourceType": "DocumentReference",
        "status": "superseded",
        "type": {"coding": [{"system": "urn:types", "code": "pdf"}]},
        "content": {"attachment": {"url": "/context/id/file/a.pdf"}}
    })"));
}

/// The list of codings that is written is not the single one that is read.
void TestContextFiles::entryReadsBackWithItsUrlAndAnEmptyCoding()
{
    domain::DocumentReference document;
    fromJson(document, attachmentEntry(Id, Name, coding()));
    QCOMPARE(document.status(), QStringLiteral("superseded"));
    QCOMPARE(document.content().size(), 1);
    QCOMPARE(document.content().at(0).attachment.url, QStringLiteral("/context/id/file/a.pdf"));
    QCOMPARE(document.type().coding.toJson(), QJsonObject());
}

void TestContextFiles::percentNumbersInIdAndNameStayInTheUrl()
{
    ContextFixture f;
    f.service->addFile(QStringLiteral("%2%1"), QStringLiteral("%1 %20#?.pdf"), "x", coding());
    QCOMPARE(attachedUrls(f.service->context(QStringLiteral("%2%1"))),
             QStringList{QStringLiteral("/context/%2%1/file/%1 %20#?.pdf")});
}

void TestContextFiles::existingKeyChangesOnlyTheBytes()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "old", coding());
    const QJsonValue before = f.service->context(Id);
    f.forget();
    f.service->addFile(Id, Name, "new", domain::Coding());
    QCOMPARE(f.service->fileContent(Id, Name), QByteArray("new"));
    QCOMPARE(f.service->context(Id), before);
    QVERIFY(f.steps.isEmpty());
}

void TestContextFiles::existingKeyIsNoUse()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "old", coding());
    f.clock.advance(60000);
    f.service->addFile(Id, Name, "new", coding());
    f.service->collectGarbage(60000);
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextFiles::logOfAnExistingKey()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "old", coding());
    support::LogCapture log;
    f.service->addFile(Id, Name, "new", coding());
    QCOMPARE(log.lines(), (QVector<support::LogLine>{
                              {QtDebugMsg, serviceCategory(),
                               QStringLiteral("File already exists, overwrite content only.")}}));
}

void TestContextFiles::keysOfTwoContextsMayMeet()
{
    ContextFixture f;
    f.service->addFile(QStringLiteral("a"), QStringLiteral("b_c"), "1", coding());
    f.service->addFile(QStringLiteral("a_b"), QStringLiteral("c"), "2", coding());
    QCOMPARE(f.service->fileContent(QStringLiteral("a"), QStringLiteral("b_c")), QByteArray("2"));
    QCOMPARE(f.service->contextIds(), QStringList{QStringLiteral("a")}); // an overwrite lists none
}

void TestContextFiles::fileOutlivesItsContext()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "old", coding());
    f.service->removeContext(Id);
    QCOMPARE(f.service->fileContent(Id, Name), QByteArray("old"));
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->addFile(Id, Name, "new", coding());
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"a":1})")));
    QCOMPARE(f.service->fileContent(Id, Name), QByteArray("new"));
}

void TestContextFiles::fileOutlivesACollectedContext()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "x", coding());
    f.clock.advance(60000);
    f.service->collectGarbage(60000);
    QVERIFY(f.service->contextIds().isEmpty());
    QCOMPARE(f.service->fileContent(Id, Name), QByteArray("x"));
}

void TestContextFiles::addingToAContextWithIdPublishesNothing()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"_id":"id","matchingItems":[1]})"));
    f.forget();
    f.service->addFile(Id, Name, "x", coding());
    QCOMPARE(f.steps, QStringList{QStringLiteral("contextChanged")});
    QCOMPARE(f.service->context(Id).toObject().value(QLatin1String("matchingItems")),
             QJsonValue(array("[1]")));
}

void TestContextFiles::addingToAContextWithoutIdIsAnOrdinaryChange()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"matchingItems":[1]})"));
    f.forget();
    f.service->addFile(Id, Name, "x", coding());
    QCOMPARE(f.steps, (QStringList{QStringLiteral("publish"), QStringLiteral("contextChanged")}));
    const QJsonObject event = f.publisher.last().value(QLatin1String("data")).toObject();
    QCOMPARE(event.value(QLatin1String("data")), QJsonValue(object(R"({"_id":"id"})")));
    QCOMPARE(f.service->context(Id).toObject().value(QLatin1String("matchingItems")),
             QJsonValue(QJsonArray()));
    QCOMPARE(attachedUrls(f.service->context(Id)).size(), 1);
}

void TestContextFiles::addingToAnUnknownIdPublishesTheWholeObject()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "x", coding());
    const QJsonObject expected{
        {QStringLiteral("_id"), Id},
        {QStringLiteral("attachments"), QJsonArray{attachmentEntry(Id, Name, coding())}}};
    QCOMPARE(f.service->context(Id), QJsonValue(expected));
    QCOMPARE(f.publisher.chunks().size(), 1);
    const QJsonObject event = f.publisher.last().value(QLatin1String("data")).toObject();
    QCOMPARE(event.value(QLatin1String("data")), QJsonValue(expected));
}

void TestContextFiles::addingToAnArrayStoresOnlyTheBytes()
{
    ContextFixture f;
    f.service->setContext(Id, array("[1]"));
    f.service->addFile(Id, Name, "x", coding());
    QCOMPARE(f.service->context(Id), QJsonValue(array("[1]")));
    QCOMPARE(f.service->fileContent(Id, Name), QByteArray("x"));
}

void TestContextFiles::attachmentsThatAreNoArrayAreReplaced()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"_id":"id","attachments":{"a":1}})"));
    f.service->addFile(Id, Name, "x", coding());
    QCOMPARE(attachedUrls(f.service->context(Id)).size(), 1);
}

void TestContextFiles::ownIdMemberIsKept()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"_id":null})"));
    f.service->addFile(Id, Name, "x", coding());
    QVERIFY(f.service->context(Id).toObject().value(QLatin1String("_id")).isNull());
}

void TestContextFiles::bytesAreThereWhenTheChangeIsAnnounced()
{
    ContextFixture f;
    QByteArray seen;
    f.publisher.onPublish = [&](const QJsonValue &) { seen = f.service->fileContent(Id, Name); };
    f.service->addFile(Id, Name, "x", coding());
    QCOMPARE(seen, QByteArray("x"));
}

void TestContextFiles::fileIsToldOfLikeAnUpdateOfTheList_data()
{
    QTest::addColumn<QByteArray>("context");
    QTest::newRow("nothing but an id") << QByteArray(R"({"_id":"id"})");
    QTest::newRow("no id") << QByteArray(R"({"attachments":[1],"matchingItems":[2]})");
    QTest::newRow("empty list") << QByteArray(R"({"_id":1,"attachments":[]})");
    QTest::newRow("list") << QByteArray(
        R"({"_id":"id","attachments":[{"a":1},2],"matchingItems":[3],"patient":{"n":1.5}})");
    QTest::newRow("list that is none") << QByteArray(R"({"_id":"id","attachments":{"a":1}})");
    QTest::newRow("list that is null") << QByteArray(R"({"_id":"id","attachments":null})");
    QTest::newRow("list that is text") << QByteArray(R"({"_id":"id","attachments":"list"})");
    // Sorted by bytes where they are written and by UTF-16 units where they are escaped, so that
    // not every member is found.
    QByteArray mixed = R"({"_id":"id","attachments":[1],"matchingItems":[2])";
    for (int i = 0; i < 40; ++i) {
        mixed += ",\"\xef\xbf\xbd" + QByteArray::number(i) + "\":1,\"\\ud83d\\ude00";
        mixed += QByteArray::number(i) + "\":2,\"\xf0\x9f\x98\x80" + QByteArray::number(i) + "\":3";
    }
    QTest::newRow("keys in no order") << mixed + "}";
}

void TestContextFiles::fileIsToldOfLikeAnUpdateOfTheList()
{
    QFETCH(QByteArray, context);
    ContextFixture one;
    ContextFixture other;
    const QJsonObject before = object(context.constData());
    QVERIFY(!before.isEmpty());
    one.service->setContext(Id, before);
    other.service->setContext(Id, before);
    for (const char *name : {"a", "b", "c"}) {
        QVector<support::LogLine> lines;
        {
            const support::LogCapture log;
            one.service->addFile(Id, QLatin1String(name), "x", coding());
            lines = log.lines();
        }
        const support::LogCapture log;
        const QJsonObject present = other.service->context(Id).toObject();
        QJsonArray list = present.value(QLatin1String("attachments")).toArray();
        list.append(attachmentEntry(Id, QLatin1String(name), coding()));
        QJsonObject update{{QStringLiteral("attachments"), list}};
        if (!present.contains(QLatin1String("_id")))
            update.insert(QStringLiteral("_id"), Id);
        other.service->updateContext(Id, update);
        QCOMPARE(lines, log.lines());
    }
    QCOMPARE(one.changed, other.changed);
    QCOMPARE(one.steps, other.steps);
    QCOMPARE(one.publisher.chunks(), other.publisher.chunks());
    QCOMPARE(one.service->context(Id), other.service->context(Id));
    QCOMPARE(one.service->printedContext(Id), other.service->printedContext(Id));
}

void TestContextFiles::listThatSomebodyHoldsStaysAsItWas()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "x", coding());
    f.service->addFile(Id, QStringLiteral("b"), "x", coding());
    const QJsonValue held = f.service->context(Id);
    const QByteArray text = f.service->printedContext(Id);
    f.service->addFile(Id, QStringLiteral("c"), "x", coding());
    QCOMPARE(attachedUrls(held).size(), 2);
    QCOMPARE(attachedUrls(f.service->context(Id)).size(), 3);
    QVERIFY(f.service->printedContext(Id) != text);
}

void TestContextFiles::removedFileIsGone()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "x", coding());
    f.forget();
    f.service->removeFile(Id, Name);
    QVERIFY(f.service->fileContent(Id, Name).isNull());
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"_id":"id","attachments":[]})")));
    QCOMPARE(f.steps, QStringList{QStringLiteral("contextChanged")});
}

void TestContextFiles::filesRemovedTogetherAreToldOfOneByOne()
{
    const QJsonArray twice{entryWithUrl(QStringLiteral("/context/id/file/c")),
                           entryWithUrl(QStringLiteral("/context/id/file/d")),
                           entryWithUrl(QStringLiteral("/x/c")), 7};
    const QStringList names{QStringLiteral("b"), QStringLiteral("none"), QStringLiteral("c"),
                            QStringLiteral("b"), QStringLiteral("a")};
    ContextFixture one;
    ContextFixture other;
    for (ContextFixture *f : {&one, &other}) {
        f->service->setContext(Id, QJsonObject{{QStringLiteral("attachments"), twice}});
        for (const char *name : {"a", "b", "c"})
            f->service->addFile(Id, QLatin1String(name), name, coding());
        f->forget();
    }
    QVector<support::LogLine> lines;
    {
        const support::LogCapture log;
        one.service->removeFiles(Id, names);
        lines = log.lines();
    }
    const support::LogCapture log;
    for (const QString &name : names)
        other.service->removeFile(Id, name);
    QCOMPARE(lines, log.lines());
    QCOMPARE(one.changed, other.changed);
    QCOMPARE(one.changed.size(), 3);
    QCOMPARE(one.publisher.chunks(), other.publisher.chunks());
    QCOMPARE(attachedUrls(one.service->context(Id)),
             (QStringList{QStringLiteral("/context/id/file/d"), QString()}));
    for (const char *name : {"a", "b", "c"})
        QVERIFY(!one.files.contains(FileService::fileKey(Id, QLatin1String(name))));
}

void TestContextFiles::filesRemovedTogetherFollowTheListAsItIsNow()
{
    ContextFixture f;
    for (const char *name : {"a", "b"})
        f.service->addFile(Id, QLatin1String(name), name, coding());
    bool isFirst = true;
    connect(f.service.get(), &ContextService::contextChanged, this, [&] {
        if (std::exchange(isFirst, false))
            f.service->addFile(Id, QStringLiteral("c"), "c", coding());
    });
    f.service->removeFiles(Id, {QStringLiteral("a"), QStringLiteral("c")});
    QCOMPARE(attachedUrls(f.service->context(Id)),
             QStringList{QStringLiteral("/context/id/file/b")});
    QVERIFY(!f.files.contains(QStringLiteral("id_c")));
}

void TestContextFiles::otherFilesStay()
{
    ContextFixture f;
    for (const char *name : {"a", "b", "c"})
        f.service->addFile(Id, QString::fromLatin1(name), name, coding());
    f.service->removeFile(Id, QStringLiteral("b"));
    QCOMPARE(
        attachedUrls(f.service->context(Id)),
        (QStringList{QStringLiteral("/context/id/file/a"), QStringLiteral("/context/id/file/c")}));
    QCOMPARE(f.service->fileContent(Id, QStringLiteral("a")), QByteArray("a"));
    QCOMPARE(f.service->fileContent(Id, QStringLiteral("c")), QByteArray("c"));
}

void TestContextFiles::nameThatIsListedTwiceIsRemovedTwice()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "x", coding());
    QJsonArray entries =
        f.service->context(Id).toObject().value(QLatin1String("attachments")).toArray();
    entries.append(entries.at(0));
    f.service->updateContext(Id, QJsonObject{{QStringLiteral("attachments"), entries}});
    QCOMPARE(attachedUrls(f.service->context(Id)).size(), 2);
    f.service->removeFile(Id, Name);
    QVERIFY(attachedUrls(f.service->context(Id)).isEmpty());
    QVERIFY(!f.files.contains(QStringLiteral("id_a.pdf")));
}

void TestContextFiles::nameIsFoundInTheUrl_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *url, const char *name) {
        QTest::newRow(url) << QString::fromUtf8(url) << QString::fromUtf8(name);
    };
    row("/context/id/file/a b.pdf", "a b.pdf");
    row("/context/id/file/\u00e4\u20ac.pdf", "\u00e4\u20ac.pdf");
    row("/context/id/file/a%20b.pdf", "a%20b.pdf"); // a local path is not percent-decoded
    row("/context/id/file/a?b#c.pdf", "a?b#c.pdf");
    row("http://localhost/context/id/file/a%20b%C3%A4.pdf", "a b\u00e4.pdf");
    row("http://localhost/context/id/file/a.pdf?x=1", "a.pdf");
    row("/context/id/file/  ", ""); // blanks at the ends go
    row("a.pdf", "");               // a host
}

void TestContextFiles::nameIsFoundInTheUrl()
{
    QFETCH(QString, url);
    QFETCH(QString, name);
    QCOMPARE(attachmentFileName(entryWithUrl(url)), name);

    ContextFixture f;
    f.files.insert(FileService::fileKey(Id, name), "x");
    f.service->setContext(
        Id, QJsonObject{{QStringLiteral("attachments"), QJsonArray{entryWithUrl(url)}}});
    f.service->removeFile(Id, name + QLatin1Char('x'));
    QCOMPARE(attachedUrls(f.service->context(Id)), QStringList{url});
    f.service->removeFile(Id, name);
    QVERIFY(attachedUrls(f.service->context(Id)).isEmpty());
    QVERIFY(!f.files.contains(FileService::fileKey(Id, name)));
}

void TestContextFiles::entriesWithoutAUrlStay()
{
    ContextFixture f;
    const QJsonArray entries = array(
        R"([1, "a.pdf", {}, {"content":[{"attachment":{"url":"/context/id/file/a.pdf"}}]}, null])");
    f.service->setContext(Id, QJsonObject{{QStringLiteral("attachments"), entries}});
    f.service->removeFile(Id, Name);
    QCOMPARE(f.service->context(Id).toObject().value(QLatin1String("attachments")),
             QJsonValue(entries));
}

void TestContextFiles::removingFromAnUnknownIdCreatesAnEmptyList()
{
    ContextFixture f;
    f.service->removeFile(Id, Name);
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"attachments":[]})")));
    QCOMPARE(f.publisher.chunks().size(), 1);
}

void TestContextFiles::bytesWithoutAnEntryStay()
{
    ContextFixture f;
    f.service->addFile(Id, Name, "x", coding());
    f.service->setContext(Id, object(R"({"_id":"id"})"));
    f.service->removeFile(Id, Name);
    QCOMPARE(f.service->fileContent(Id, Name), QByteArray("x"));
}

void TestContextFiles::contentOfAnUnknownNameIsNullAndStoresNothing()
{
    ContextFixture f;
    QVERIFY(f.service->fileContent(Id, Name).isNull());
    QVERIFY(!f.files.contains(QStringLiteral("id_a.pdf")));
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextFiles::contentOfAnEmptyFileIsNotNull()
{
    ContextFixture f;
    f.service->addFile(Id, Name, QByteArray(), coding());
    QVERIFY(f.service->fileContent(Id, Name).isEmpty());
    QVERIFY(!f.service->fileContent(Id, Name).isNull());
}

QTEST_GUILESS_MAIN(TestContextFiles)
#include "tst_contextfiles.moc"
