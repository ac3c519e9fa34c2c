#include "chunk/rpcgetfilebehaviour.h"
#include "chunkfixture.h"
#include "fhir/coding.h"

#include <QtTest/QtTest>

namespace {

QJsonValue request(const QByteArray &body)
{
    return json(R"({"exchange":"kavo-context-rpc-get-files","body":)" + body +
                R"(,"properties":{"reply-to":"exchange:answers","correlation-id":"c"}})");
}

QJsonValue answerTo(Stores &stores, const QByteArray &body)
{
    stores.publisher.clear();
    RpcGetFileBehaviour(&stores.host, &stores.contexts).handle(request(body));
    return stores.publisher.last().value(latin1("body"));
}

domain::Coding coding(const char *code)
{
    domain::Coding made;
    made.system = latin1("s");
    made.code = latin1(code);
    return made;
}

} // namespace

class tst_RpcGetFileBehaviour : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutReferenceEveryAttachmentComesWithItsFile();
    void filesOfTheModulesOwnEntriesAreSelectedByUrl();
    void filterSelects_data();
    void filterSelects();
    void typeFilterMatchesNoEntryOfTheModule();
    void dataIsAddedToTheEntryAsItStands_data();
    void dataIsAddedToTheEntryAsItStands();
    void fileNameOfTheUrlIsReadAsAUserTypesIt();
    void entriesOfOneFileAreAnsweredEachAsItStands();
    void fileListedTooOftenIsNotAnswered();
    void emptyAndUnknownFilesGiveEmptyData();
    void unknownContextIsAnsweredWithNothing();
    void referenceThatIsNoObjectFiltersNothing();
    void askingCountsAsUse();
    void answerRepeatsTheCorrelationId();
    void withoutAPublisherNothingHappens();
    void otherExchangeIsIgnored();
};

void tst_RpcGetFileBehaviour::withoutReferenceEveryAttachmentComesWithItsFile()
{
    Stores stores;
    stores.contexts.addFile(latin1("a"), latin1("x.pdf"), "hello", coding("1"));
    stores.contexts.addFile(latin1("a"), latin1("y.bin"), QByteArray("\0\xff", 2), coding("2"));
    QCOMPARE(answerTo(stores, R"({"context":"a"})"), json(R"([
        {"resourceType":"DocumentReference","status":"superseded",
         "type":{"coding":[{"system":"s","code":"1"}]},
         "content":{"attachment":{"url":"/context/a/file/x.pdf","data":"aGVsbG8="}}},
        {"resourceType":"DocumentReference","status":"superseded",
         "type":{"coding":[{"system":"s","code":"2"}]},
         "content":{"attachment":{"url":"/context/a/file/y.bin","data":"AP8="}}}])"));
    const QJsonArray stored = stores.at("a").toObject().value(latin1("attachments")).toArray();
    QVERIFY(!stored.first()
                 .toObject()
                 .value(latin1("content"))
                 .toObject()
                 .value(latin1("attachment"))
                 .toObject()
                 .contains(latin1("data")));
}

void tst_RpcGetFileBehaviour::filesOfTheModulesOwnEntriesAreSelectedByUrl()
{
    Stores stores;
    stores.contexts.addFile(latin1("a"), latin1("x"), "1", coding("1"));
    stores.contexts.addFile(latin1("a"), latin1("y"), "2", coding("1"));
    const QJsonArray found = answerTo(stores, R"({"context":"a","reference":{"status":"superseded",
            "content":{"attachment":{"url":"/context/a/file/y"}}}})")
                                 .toArray();
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().toObject().value(latin1("content")),
             json(R"({"attachment":{"url":"/context/a/file/y","data":"Mg=="}})"));
}

void tst_RpcGetFileBehaviour::filterSelects_data()
{
    QTest::addColumn<QByteArray>("filter");
    QTest::addColumn<QByteArray>("candidate");
    QTest::addColumn<bool>("selected");
    const auto row = [](const char *name, const char *filter, const char *candidate,
                        bool selected) {
        QTest::newRow(name) << QByteArray(filter) << QByteArray(candidate) << selected;
    };
    const char *two = R"({"content":[{"attachment":{"url":"a"}},{"attachment":{"url":"b"}}]})";
    row("empty filter", "{}", R"({"status":"current"})", true);
    row("empty filter and empty entry", "{}", "{}", true);
    row("empty filter and an entry that is no object", "{}", "5", true);
    row("same status", R"({"status":"current"})", R"({"status":"current"})", true);
    row("other status", R"({"status":"current"})", R"({"status":"superseded"})", false);
    row("status in another case", R"({"status":"current"})", R"({"status":"Current"})", false);
    row("missing status", R"({"status":"current"})", "{}", false);
    row("empty status", R"({"status":""})", R"({"status":"current"})", true);
    row("two contents against one", two, R"({"content":[{"attachment":{"url":"a"}}]})", false);
    row("two contents against the same two", two, two, true);
    row("two contents the other way round", two,
        R"({"content":[{"attachment":{"url":"b"}},{"attachment":{"url":"a"}}]})", false);
    row("the candidate may hold more", R"({"content":[{"attachment":{"url":"a"}}]})", two, true);
    row("but compares place by place", R"({"content":[{"attachment":{"url":"b"}}]})", two, false);
    row("empty url matches any at its place", R"({"content":[{},{"attachment":{"url":"b"}}]})", two,
        true);
    row("empty urls still count the contents", R"({"content":[{},{}]})",
        R"({"content":{"attachment":{"url":"a"}}})", false);
    row("type system", R"({"type":{"coding":{"system":"s"}}})",
        R"({"type":{"coding":{"system":"s","code":"c"}}})", true);
    row("other type system", R"({"type":{"coding":{"system":"s"}}})",
        R"({"type":{"coding":{"system":"t"}}})", false);
    row("type code", R"({"type":{"coding":{"code":"c"}}})",
        R"({"type":{"coding":{"system":"s","code":"c"}}})", true);
    row("other type code", R"({"type":{"coding":{"system":"s","code":"c"}}})",
        R"({"type":{"coding":{"system":"s","code":"d"}}})", false);
    row("members that do not count", R"({"id":"1","language":"de","type":{"text":"t"}})",
        R"({"id":"2"})", true);
}

void tst_RpcGetFileBehaviour::filterSelects()
{
    QFETCH(QByteArray, filter);
    QFETCH(QByteArray, candidate);
    Stores stores;
    stores.put("a", R"({"attachments":[)" + candidate + "]}");
    const QJsonArray found =
        answerTo(stores, R"({"context":"a","reference":)" + filter + "}").toArray();
    QTEST(found.size() == 1, "selected");
}

void tst_RpcGetFileBehaviour::typeFilterMatchesNoEntryOfTheModule()
{
    Stores stores;
    stores.contexts.addFile(latin1("a"), latin1("x"), "1", coding("1"));
    QCOMPARE(answerTo(stores, R"({"context":"a","reference":{"type":{"coding":{"system":"s"}}}})"),
             json("[]"));
    // As an array the filter's coding is not read either, and so does not count.
    QCOMPARE(answerTo(stores, R"({"context":"a","reference":{"type":{"coding":[{"system":"t"}]}}})")
                 .toArray()
                 .size(),
             1);
}

void tst_RpcGetFileBehaviour::dataIsAddedToTheEntryAsItStands_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QByteArray>("answered");
    const auto row = [](const char *name, const char *entry, const char *answered) {
        QTest::newRow(name) << QByteArray(entry) << QByteArray(answered);
    };
    row("other members stay",
        R"({"x":1,"content":{"format":{},"attachment":{"title":"t","url":"/context/a/file/f"}}})",
        R"({"x":1,"content":{"format":{},
            "attachment":{"title":"t","url":"/context/a/file/f","data":"MQ=="}}})");
    row("data that was there is replaced",
        R"({"content":{"attachment":{"url":"/context/a/file/f","data":"old"}}})",
        R"({"content":{"attachment":{"url":"/context/a/file/f","data":"MQ=="}}})");
    row("contents as an array give way to an object",
        R"({"content":[{"attachment":{"url":"/context/a/file/f"}}]})",
        R"({"content":{"attachment":{"data":""}}})");
    row("no content", "{}", R"({"content":{"attachment":{"data":""}}})");
    row("no object", "7", R"({"content":{"attachment":{"data":""}}})");
}

void tst_RpcGetFileBehaviour::dataIsAddedToTheEntryAsItStands()
{
    QFETCH(QByteArray, entry);
    QFETCH(QByteArray, answered);
    Stores stores;
    stores.files.insert(latin1("a_f"), "1");
    stores.put("a", R"({"attachments":[)" + entry + "]}");
    QCOMPARE(answerTo(stores, R"({"context":"a"})"), json("[" + answered + "]"));
}

void tst_RpcGetFileBehaviour::fileNameOfTheUrlIsReadAsAUserTypesIt()
{
    Stores stores;
    stores.files.insert(latin1("a_b c"), "decoded");
    stores.files.insert(latin1("a_b%20c"), "literal");
    stores.put("a", R"({"attachments":[
        {"content":{"attachment":{"url":"http://host/context/a/file/b%20c?x=1"}}},
        {"content":{"attachment":{"url":"/context/a/file/b%20c"}}}]})");
    const QJsonArray found = answerTo(stores, R"({"context":"a"})").toArray();
    const auto data = [&found](int index) {
        return found.at(index)
            .toObject()
            .value(latin1("content"))
            .toObject()
            .value(latin1("attachment"))
            .toObject()
            .value(latin1("data"));
    };
    QCOMPARE(data(0), QJsonValue(QString::fromLatin1(QByteArray("decoded").toBase64())));
    QCOMPARE(data(1), QJsonValue(QString::fromLatin1(QByteArray("literal").toBase64())));
}

void tst_RpcGetFileBehaviour::entriesOfOneFileAreAnsweredEachAsItStands()
{
    Stores stores;
    stores.put("a", R"({"attachments":[
        {"id":"1","content":{"attachment":{"url":"/context/a/file/x"}}},
        {"id":"2","content":{"attachment":{"url":"/context/a/file/x"},"format":{"code":"f"}}},
        {"id":"3","content":{"attachment":{"url":"/context/a/file/x","title":"t"}}},
        {"id":"4","content":{"attachment":{"url":"/context/a/file/y"}}},
        {"id":"5","content":{"attachment":{"url":"/other/x"}}},
        {"id":"6","content":{"attachment":{"url":"/context/a/file/x"}}}]})");
    stores.files.insert(latin1("a_x"), "hello");
    stores.files.insert(latin1("a_y"), "other");
    QCOMPARE(answerTo(stores, R"({"context":"a"})"), json(R"([
        {"id":"1","content":{"attachment":{"url":"/context/a/file/x","data":"aGVsbG8="}}},
        {"id":"2","content":{"attachment":{"url":"/context/a/file/x","data":"aGVsbG8="},
                             "format":{"code":"f"}}},
        {"id":"3","content":{"attachment":{"url":"/context/a/file/x","title":"t",
                                           "data":"aGVsbG8="}}},
        {"id":"4","content":{"attachment":{"url":"/context/a/file/y","data":"b3RoZXI="}}},
        {"id":"5","content":{"attachment":{"url":"/other/x","data":"aGVsbG8="}}},
        {"id":"6","content":{"attachment":{"url":"/context/a/file/x","data":"aGVsbG8="}}}])"));
}

void tst_RpcGetFileBehaviour::fileListedTooOftenIsNotAnswered()
{
    Stores stores;
    constexpr int Megabyte = 1024 * 1024;
    stores.files.insert(latin1("a_x"), QByteArray(3 * Megabyte, 'x')); // 4 MiB of base64
    QJsonArray entries;
    const QJsonValue entry = json(R"({"content":{"attachment":{"url":"/context/a/file/x"}}})");
    for (int i = 0; i < 511; ++i)
        entries.append(entry);
    stores.contexts.setContext(latin1("a"), QJsonObject{{latin1("attachments"), entries}});
    QCOMPARE(answerTo(stores, R"({"context":"a"})").toArray().size(), 511);

    entries.append(entry);
    stores.contexts.setContext(latin1("a"), QJsonObject{{latin1("attachments"), entries}});
    const support::LogCapture log(latin1("*.debug=false"));
    QVERIFY(answerTo(stores, R"({"context":"a"})").isUndefined());
    QVERIFY(log.contains(QtWarningMsg, latin1("ch.brenlo.kavo-service.context.rpcgetfilebehaviour"),
                         latin1("The files of context \"a\" are too large to answer.")));
}

void tst_RpcGetFileBehaviour::emptyAndUnknownFilesGiveEmptyData()
{
    Stores stores;
    stores.contexts.addFile(latin1("a"), latin1("empty"), "", coding("1"));
    stores.contexts.addFile(latin1("a"), latin1("lost"), "1", coding("1"));
    stores.files.remove(latin1("a_lost"));
    const QJsonArray found = answerTo(stores, R"({"context":"a"})").toArray();
    QCOMPARE(found.at(0).toObject().value(latin1("content")),
             json(R"({"attachment":{"url":"/context/a/file/empty","data":""}})"));
    QCOMPARE(found.at(1).toObject().value(latin1("content")),
             json(R"({"attachment":{"url":"/context/a/file/lost","data":""}})"));
}

void tst_RpcGetFileBehaviour::unknownContextIsAnsweredWithNothing()
{
    Stores stores;
    QCOMPARE(answerTo(stores, R"({"context":"u"})"), json("[]"));
    QCOMPARE(stores.contexts.contextIds(), QStringList{latin1("u")}); // asking enters a null
    QCOMPARE(answerTo(stores, "{}"), json("[]"));
}

void tst_RpcGetFileBehaviour::referenceThatIsNoObjectFiltersNothing()
{
    Stores stores;
    stores.contexts.addFile(latin1("a"), latin1("x"), "1", coding("1"));
    QCOMPARE(
        answerTo(stores, R"({"context":"a","reference":[{"status":"none"}]})").toArray().size(), 1);
}

void tst_RpcGetFileBehaviour::askingCountsAsUse()
{
    Stores stores;
    stores.put("a", "{}");
    stores.clock.advance(60000);
    answerTo(stores, R"({"context":"a"})");
    stores.contexts.collectGarbage(60000);
    QCOMPARE(stores.contexts.contextIds(), QStringList{latin1("a")});
    stores.clock.advance(60000);
    stores.contexts.collectGarbage(60000);
    QVERIFY(stores.contexts.contextIds().isEmpty());
}

void tst_RpcGetFileBehaviour::answerRepeatsTheCorrelationId()
{
    Stores stores;
    RpcGetFileBehaviour(&stores.host, &stores.contexts).handle(request(R"({"context":"a"})"));
    QCOMPARE(QJsonValue(stores.publisher.last()),
             json(R"({"exchange":"answers","properties":{"correlation-id":"c"},"body":[]})"));
}

void tst_RpcGetFileBehaviour::withoutAPublisherNothingHappens()
{
    Stores stores;
    stores.host.publisher = nullptr;
    RpcGetFileBehaviour(&stores.host, &stores.contexts).handle(request(R"({"context":"u"})"));
    QVERIFY(stores.contexts.contextIds().isEmpty()); // not even read
    QVERIFY(stores.publisher.chunks().isEmpty());
}

void tst_RpcGetFileBehaviour::otherExchangeIsIgnored()
{
    Stores stores;
    RpcGetFileBehaviour(&stores.host, &stores.contexts)
        .handle(json(R"({"exchange":"kavo-context-rpc-get-file","body":{"context":"u"}})"));
    QVERIFY(stores.publisher.chunks().isEmpty());
    QVERIFY(stores.contexts.contextIds().isEmpty());
}

QTEST_GUILESS_MAIN(tst_RpcGetFileBehaviour)
#include "tst_rpcgetfilebehaviour.moc"
