#include "http/contextfilepostcontroller.h"

#include "modulefixture.h"

#include <QtCore/QJsonArray>
#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.file.post.controller");
const QString id = QStringLiteral("abc");

QByteArray part(const QByteArray &name, const QByteArray &content)
{
    return "--XX\r\nContent-Disposition: form-data; name=\"f\"; filename=\"" + name + "\"\r\n\r\n" +
           content + "\r\n";
}

FakeRequest post(const QByteArray &body,
                 const QString &type = QStringLiteral("multipart/form-data; boundary=XX"))
{
    return FakeRequest(Request::Post, QStringLiteral("/context/abc/file"), body)
        .with(QStringLiteral("Content-Type"), type);
}

QStringList attachmentUrls(Module &module)
{
    QStringList urls;
    const QJsonArray attachments =
        module.contexts.context(id).toObject().value(QLatin1String("attachments")).toArray();
    for (const QJsonValue &entry : attachments) {
        const QJsonObject content = entry.toObject().value(QLatin1String("content")).toObject();
        const QJsonObject attachment = content.value(QLatin1String("attachment")).toObject();
        urls.append(attachment.value(QLatin1String("url")).toString());
    }
    return urls;
}

} // namespace

class TestContextFilePostController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aBodyWithTwoFilesStoresBothAndAnswers204();
    void filesAreAddedInTheOrderOfTheirNames();
    void everyFileIsTypedAsAnAddendumDocument();
    void twoPartsWithTheSameNameKeepTheSecondContent();
    void aBodyThatCannotBeParsedStoresNothingAndAnswers204_data();
    void aBodyThatCannotBeParsedStoresNothingAndAnswers204();
    void aBoundaryInQuotesIsUsedWithThem();
    void whatFollowsTheBoundaryBelongsToIt();
    void theBoundaryEndsAtAFurtherOne();
    void anEmptyBoundaryIsABoundary();
    void withoutBoundaryNothingIsStoredAndTheAnswerIs400_data();
    void withoutBoundaryNothingIsStoredAndTheAnswerIs400();
    void anEmptyIdThrows();
    void logsTheUpload();
};

void TestContextFilePostController::aBodyWithTwoFilesStoresBothAndAnswers204()
{
    Module module;
    Exchange exchange(module.strategy,
                      post(part("b.txt", "two\r\nlines") + part("a.pdf", "%PDF") + "--XX--\r\n"));
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(204));
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("a.pdf")), QByteArray("%PDF"));
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("b.txt")), QByteArray("two\r\nlines"));
}

void TestContextFilePostController::filesAreAddedInTheOrderOfTheirNames()
{
    Module module;
    Exchange(module.strategy, post(part("c", "3") + part("a", "1") + part("b", "2") + "--XX--\r\n"))
        .handle();
    QCOMPARE(attachmentUrls(module), (QStringList{QStringLiteral("/context/abc/file/a"),
                                                  QStringLiteral("/context/abc/file/b"),
                                                  QStringLiteral("/context/abc/file/c")}));
}

void TestContextFilePostController::everyFileIsTypedAsAnAddendumDocument()
{
    Module module;
    Exchange(module.strategy, post(part("a", "1") + "--XX--\r\n")).handle();
    const QJsonObject expected = json(R"({
        "_id": "abc",
        "attachments": [{
            "resourceType": "DocumentReference",
            "status": "superseded",
            "type": {"coding": [{
                "system": "http://hl7.org/fhir/ValueSet/c80-doc-typecodes",
                "code": "55107-7",
                "display": "Addendum Document"
            }]},
            "content": {"attachment": {"url": "/context/abc/file/a"}}
        }]
    })");
    QCOMPARE(module.contexts.context(id).toObject(), expected);
}

void TestContextFilePostController::twoPartsWithTheSameNameKeepTheSecondContent()
{
    Module module;
    Exchange(module.strategy, post(part("a", "1") + part("a", "2") + "--XX--\r\n")).handle();
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("a")), QByteArray("2"));
    QCOMPARE(attachmentUrls(module).size(), 1);
}

void TestContextFilePostController::aBodyThatCannotBeParsedStoresNothingAndAnswers204_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("shorter than the delimiter") << QByteArray("--X");
    QTest::newRow("the delimiter alone") << QByteArray("--XX\r\n");
    QTest::newRow("no end of the headers") << QByteArray("--XX\r\nContent-Disposition: x\r\n");
}

void TestContextFilePostController::aBodyThatCannotBeParsedStoresNothingAndAnswers204()
{
    QFETCH(QByteArray, body);
    Module module;
    Exchange exchange(module.strategy, post(body));
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(204));
    QCOMPARE(module.contexts.contextIds(), QStringList());
}

void TestContextFilePostController::aBoundaryInQuotesIsUsedWithThem()
{
    // No line of the body matches: the first "delimiter" is skipped unchecked, it is two bytes
    // longer than the real one, and the content runs to the end of the body.
    Module module;
    const QByteArray body = part("a", "1") + "--XX--\r\n";
    Exchange exchange(module.strategy,
                      post(body, QStringLiteral("multipart/form-data; boundary=\"XX\"")));
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(204));
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("a")), QByteArray("1\r\n--XX--\r\n"));
}

void TestContextFilePostController::whatFollowsTheBoundaryBelongsToIt()
{
    Module module;
    QByteArray body = part("a", "1") + "--XX--\r\n";
    body.replace("--XX", "--XX; charset=utf-8");
    Exchange(module.strategy,
             post(body, QStringLiteral("multipart/form-data; boundary=XX; charset=utf-8")))
        .handle();
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("a")), QByteArray("1"));
}

void TestContextFilePostController::theBoundaryEndsAtAFurtherOne()
{
    Module module;
    Exchange(module.strategy, post(part("a", "1") + "--XX--\r\n",
                                   QStringLiteral("multipart/form-data; boundary=XXboundary=YY")))
        .handle();
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("a")), QByteArray("1"));
}

void TestContextFilePostController::anEmptyBoundaryIsABoundary()
{
    Module module;
    QByteArray body = part("a", "1") + "--XX--\r\n";
    body.replace("--XX", "--");
    Exchange exchange(module.strategy,
                      post(body, QStringLiteral("multipart/form-data; boundary=")));
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(204));
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("a")), QByteArray("1"));
}

void TestContextFilePostController::withoutBoundaryNothingIsStoredAndTheAnswerIs400_data()
{
    QTest::addColumn<QString>("type");
    QTest::newRow("no type") << QString();
    QTest::newRow("no parameter") << QStringLiteral("multipart/form-data");
    QTest::newRow("in capitals") << QStringLiteral("multipart/form-data; Boundary=XX");
    QTest::newRow("with a blank") << QStringLiteral("multipart/form-data; boundary =XX");
    QTest::newRow("JSON") << QStringLiteral("application/json");
}

void TestContextFilePostController::withoutBoundaryNothingIsStoredAndTheAnswerIs400()
{
    QFETCH(QString, type);
    Module module;
    const support::LogCapture log;
    Exchange exchange(module.strategy, post(part("a", "1") + "--XX--\r\n", type));
    exchange.handle();
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(debugLines(log, category),
             QStringList{QStringLiteral("Uploading file to context \"abc\" .")});
    QCOMPARE(exchange.calls(),
             (QStringList{QStringLiteral("setHeader Content-Type: text/plain"),
                          QStringLiteral("writeHead 400"),
                          QStringLiteral("end The content type names no multipart boundary.\n")}));
    QCOMPARE(module.contexts.contextIds(), QStringList());
    QVERIFY(module.contexts.fileContent(id, QStringLiteral("a")).isNull());
    QVERIFY(module.publisher.chunks().isEmpty());
}

void TestContextFilePostController::anEmptyIdThrows()
{
    Module module;
    ContextFilePostController controller(&module.contexts, QString());
    QCOMPARE(thrownBy(controller), QStringLiteral("Context id required."));
}

void TestContextFilePostController::logsTheUpload()
{
    Module module;
    support::LogCapture log;
    Exchange(module.strategy, post("--XX\r\n")).handle();
    QCOMPARE(debugLines(log, category),
             QStringList{QStringLiteral("Uploading file to context \"abc\" .")});
}

QTEST_GUILESS_MAIN(TestContextFilePostController)
#include "tst_contextfilepostcontroller.moc"
