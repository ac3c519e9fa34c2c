#include "chunk/removeattachmentsbehaviour.h"
#include "chunk/writefiletocontextbehaviour.h"
#include "chunkfixture.h"
#include "fhir/coding.h"

#include <QtTest/QtTest>

namespace {

QJsonValue addFile(const QByteArray &body)
{
    return json(R"({"exchange":"kavo-context-add-file","body":)" + body + "}");
}

QJsonValue removeAttachments(const QByteArray &body)
{
    return json(R"({"exchange":"kavo-context-attachments-remove","body":)" + body + "}");
}

} // namespace

class tst_FileBehaviours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fileIsAttachedWithItsType();
    void contentIsDecodedLeniently_data();
    void contentIsDecodedLeniently();
    void missingTypeGivesAnEmptyCoding();
    void missingMembersReadAsEmpty();
    void attachmentsAreRemovedInOrder();
    void emptyAttachmentsMakeNoCall_data();
    void emptyAttachmentsMakeNoCall();
    void elementThatIsNoTextNamesTheEmptyFile();
    void removalFromAnUnknownContextCreatesIt();
    void otherExchangesAreIgnored();
    void nobodyIsAnswered();
};

void tst_FileBehaviours::fileIsAttachedWithItsType()
{
    Stores stores;
    stores.put("a", R"({"_id":"a"})");
    WriteFileToContextBehaviour(&stores.contexts)
        .handle(addFile(R"({"context":"a","filename":"x.pdf","content":"aGVsbG8=",
                            "type":{"system":"s","code":"c","display":"d"}})"));
    QCOMPARE(stores.contexts.fileContent(latin1("a"), latin1("x.pdf")), QByteArray("hello"));
    QCOMPARE(stores.at("a"), json(R"({"_id":"a","attachments":[
        {"resourceType":"DocumentReference","status":"superseded",
         "type":{"coding":[{"system":"s","code":"c","display":"d"}]},
         "content":{"attachment":{"url":"/context/a/file/x.pdf"}}}]})"));
    QVERIFY(stores.publisher.chunks().isEmpty());
}

void tst_FileBehaviours::contentIsDecodedLeniently_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, const char *content, const char *bytes) {
        QTest::newRow(name) << QByteArray(content) << QByteArray(bytes);
    };
    row("base64", R"("aGVsbG8=")", "hello");
    row("without padding", R"("aGVsbG8")", "hello");
    row("with line ends and blanks", R"("aGVs\r\n bG8=")", "hello");
    row("with strange characters", R"("a?G*V-s_bG8=")", "hello");
    row("with letters beyond ASCII", "\"a\u00e4GVs\u20acbG8=\"", "hello");
    row("cut short", R"("aGVsb")", "hel");
    row("no base64 at all", R"("!?")", "");
    row("empty", R"("")", "");
    row("number", "5", "");
    row("null", "null", "");
}

void tst_FileBehaviours::contentIsDecodedLeniently()
{
    QFETCH(QByteArray, content);
    Stores stores;
    WriteFileToContextBehaviour(&stores.contexts)
        .handle(addFile(R"({"context":"a","filename":"f","content":)" + content + "}"));
    QVERIFY(stores.files.contains(latin1("a_f")));
    QTEST(stores.contexts.fileContent(latin1("a"), latin1("f")), "bytes");
}

void tst_FileBehaviours::missingTypeGivesAnEmptyCoding()
{
    Stores stores;
    WriteFileToContextBehaviour(&stores.contexts)
        .handle(addFile(R"({"context":"a","filename":"f","content":"MQ=="})"));
    const QJsonArray attachments = stores.at("a").toObject().value(latin1("attachments")).toArray();
    QCOMPARE(attachments.first().toObject().value(latin1("type")), json(R"({"coding":[{}]})"));
}

void tst_FileBehaviours::missingMembersReadAsEmpty()
{
    Stores stores;
    WriteFileToContextBehaviour(&stores.contexts)
        .handle(json(R"({"exchange":"kavo-context-add-file"})"));
    QVERIFY(stores.files.contains(latin1("_")));
    QCOMPARE(stores.contexts.contextIds(), QStringList{QString()});
}

void tst_FileBehaviours::attachmentsAreRemovedInOrder()
{
    Stores stores;
    const domain::Coding none;
    for (const char *name : {"x", "y", "z"})
        stores.contexts.addFile(latin1("a"), latin1(name), name, none);
    QStringList left;
    QObject::connect(&stores.contexts, &ContextService::contextChanged, &stores.contexts,
                     [&](const QString &, const QJsonValue &) {
                         QString names;
                         for (const char *name : {"x", "y", "z"}) {
                             if (stores.files.contains(latin1("a_") + latin1(name)))
                                 names += latin1(name);
                         }
                         left << names;
                     });
    RemoveAttachmentsBehaviour(&stores.contexts)
        .handle(removeAttachments(R"({"context":"a","attachments":["z","x"]})"));
    const QStringList expected{latin1("xy"), latin1("y")};
    QCOMPARE(left, expected);
    const QJsonArray attachments = stores.at("a").toObject().value(latin1("attachments")).toArray();
    QCOMPARE(attachments.size(), 1);
    QCOMPARE(attachments.first().toObject().value(latin1("content")),
             json(R"({"attachment":{"url":"/context/a/file/y"}})"));
}

void tst_FileBehaviours::emptyAttachmentsMakeNoCall_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << QByteArray(R"({"context":"a","attachments":[]})");
    QTest::newRow("missing") << QByteArray(R"({"context":"a"})");
    QTest::newRow("no array") << QByteArray(R"({"context":"a","attachments":"x"})");
}

void tst_FileBehaviours::emptyAttachmentsMakeNoCall()
{
    QFETCH(QByteArray, body);
    Stores stores;
    RemoveAttachmentsBehaviour(&stores.contexts).handle(removeAttachments(body));
    QVERIFY(stores.contexts.contextIds().isEmpty()); // any call would have made "a"
}

void tst_FileBehaviours::elementThatIsNoTextNamesTheEmptyFile()
{
    Stores stores;
    stores.put("a", R"({"attachments":[{"content":{"attachment":{"url":"/context/a/file/"}}},
                                       {"content":{"attachment":{"url":"/context/a/file/x"}}}]})");
    stores.files.insert(latin1("a_"), "1");
    RemoveAttachmentsBehaviour(&stores.contexts)
        .handle(removeAttachments(R"({"context":"a","attachments":[7]})"));
    QVERIFY(!stores.files.contains(latin1("a_")));
    QCOMPARE(stores.at("a"),
             json(R"({"attachments":[{"content":{"attachment":{"url":"/context/a/file/x"}}}]})"));
}

void tst_FileBehaviours::removalFromAnUnknownContextCreatesIt()
{
    Stores stores;
    RemoveAttachmentsBehaviour(&stores.contexts)
        .handle(removeAttachments(R"({"context":"u","attachments":["x"]})"));
    QCOMPARE(stores.at("u"), json(R"({"attachments":[]})"));
}

void tst_FileBehaviours::otherExchangesAreIgnored()
{
    Stores stores;
    support::LogCapture log;
    const QJsonValue chunk =
        json(R"({"exchange":"other","body":{"context":"a","filename":"f","attachments":["f"]}})");
    WriteFileToContextBehaviour(&stores.contexts).handle(chunk);
    RemoveAttachmentsBehaviour(&stores.contexts).handle(chunk);
    QVERIFY(stores.contexts.contextIds().isEmpty());
    QVERIFY(!stores.files.contains(latin1("a_f")));
    QVERIFY(log.lines().isEmpty());
}

void tst_FileBehaviours::nobodyIsAnswered()
{
    Stores stores;
    stores.put("a", R"({"_id":"a"})");
    const QJsonObject properties =
        json(R"({"reply-to":"exchange:answers","correlation-id":"c"})").toObject();
    QJsonObject adding = addFile(R"({"context":"a","filename":"f"})").toObject();
    adding.insert(latin1("properties"), properties);
    QJsonObject removing = removeAttachments(R"({"context":"a","attachments":["f"]})").toObject();
    removing.insert(latin1("properties"), properties);
    WriteFileToContextBehaviour(&stores.contexts).handle(adding);
    QVERIFY(stores.files.contains(latin1("a_f")));
    RemoveAttachmentsBehaviour(&stores.contexts).handle(removing);
    QVERIFY(!stores.files.contains(latin1("a_f")));
    QVERIFY(stores.publisher.chunks().isEmpty());
}

QTEST_GUILESS_MAIN(tst_FileBehaviours)
#include "tst_filebehaviours.moc"
