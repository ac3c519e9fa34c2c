#include "http/contextfilegetcontroller.h"

#include "fhir/coding.h"
#include "modulefixture.h"

#include <QtTest/QTest>

namespace {

const QString category = QStringLiteral("ch.brenlo.kavo-service.context.file.get.controller");
const QString id = QStringLiteral("abc");
const QByteArray bytes("%PDF\0\r\n\xff", 8);

/// A module whose context "abc" has one file.
struct ModuleWithFile : Module
{
    explicit ModuleWithFile(const QString &name = QStringLiteral("x.pdf"),
                            const QByteArray &content = bytes)
    {
        contexts.addFile(id, name, content, domain::Coding());
        publisher.clear();
    }
};

FakeRequest get(const QString &nameAndQuery)
{
    return {Request::Get, QStringLiteral("/context/abc/file/") + nameAndQuery};
}

QStringList fileAnswer(const QStringList &headers, const QByteArray &body = bytes)
{
    QStringList calls;
    for (const QString &header : headers)
        calls.append(QStringLiteral("setHeader ") + header);
    return calls + bareAnswer(200, support::textOf(body));
}

const QString pdfType = QStringLiteral("Content-Type: application/pdf");
const QString downloadType = QStringLiteral("Content-Type: application/octet-stream");
const QString accept = QStringLiteral("Accept");
const QString acceptEncoding = QStringLiteral("Accept-Encoding");

} // namespace

class TestContextFileGetController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPdfIsAnsweredRawWithItsType();
    void anyOtherNameGetsNoContentType_data();
    void anyOtherNameGetsNoContentType();
    void anUnknownContextAnswers404BeforeTheFile();
    void anUnknownFileAnswers404_data();
    void anUnknownFileAnswers404();
    void aFileOfNoBytesIsFound();
    void aFhirRepresentationAmongOtherTypesIsNotImplemented();
    void base64WinsOverTheDownload();
    void base64IsPaddedAndHasNoLineBreaks();
    void theHeaderTestsMindTheCase();
    void fhirWinsOverBase64();
    void aDownloadWithoutFilenameIsAnAttachment();
    void aDownloadWithAFilenameNamesItVerbatim_data();
    void aDownloadWithAFilenameNamesItVerbatim();
    void aDownloadOfAPdfIsAnOctetStream();
    void onlyDownloadTrueIsADownload_data();
    void onlyDownloadTrueIsADownload();
    void aDeleteReturnsTheFileAndRemovesNothing();
    void aNameEncodedTwiceIsFoundDecoded();
    void readingMarksTheContextAsUsed();
    void anEmptyIdOrNameThrows();
    void logsTheAccess();
    void logsTheAccessToWhatIsNotThere();
    void logsTheDesiredNameOfADownload();
};

void TestContextFileGetController::aPdfIsAnsweredRawWithItsType()
{
    ModuleWithFile module;
    Exchange exchange(module.strategy, get(QStringLiteral("x.pdf")));
    exchange.handle();
    QCOMPARE(exchange.calls(), fileAnswer({pdfType}));
    QCOMPARE(exchange.response->body(), bytes);
}

void TestContextFileGetController::anyOtherNameGetsNoContentType_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("text") << QStringLiteral("x.txt");
    QTest::newRow("in capitals") << QStringLiteral("x.PDF");
    QTest::newRow("pdf inside") << QStringLiteral("x.pdf.txt");
    QTest::newRow("no dot") << QStringLiteral("xpdf");
}

void TestContextFileGetController::anyOtherNameGetsNoContentType()
{
    QFETCH(QString, name);
    ModuleWithFile module(name);
    Exchange exchange(module.strategy, get(name));
    exchange.handle();
    QCOMPARE(exchange.calls(), fileAnswer({}));
}

void TestContextFileGetController::anUnknownContextAnswers404BeforeTheFile()
{
    ModuleWithFile module;
    module.contexts.removeContext(id); // its file's bytes stay
    Exchange exchange(
        module.strategy,
        get(QStringLiteral("x.pdf")).with(accept, QStringLiteral("application/fhir+json")));
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(404, QStringLiteral("Context not found.")));
}

void TestContextFileGetController::anUnknownFileAnswers404_data()
{
    QTest::addColumn<QString>("accepted");
    QTest::newRow("anything") << QStringLiteral("*/*");
    QTest::newRow("what is not implemented") << QStringLiteral("application/fhir+json");
}

void TestContextFileGetController::anUnknownFileAnswers404()
{
    QFETCH(QString, accepted);
    ModuleWithFile module;
    Exchange exchange(module.strategy, get(QStringLiteral("y.pdf")).with(accept, accepted));
    exchange.handle();
    QCOMPARE(exchange.calls(), bareAnswer(404, QStringLiteral("File not found.")));
}

void TestContextFileGetController::aFileOfNoBytesIsFound()
{
    ModuleWithFile module(QStringLiteral("x.pdf"), QByteArray());
    Exchange exchange(module.strategy, get(QStringLiteral("x.pdf")));
    exchange.handle();
    QCOMPARE(exchange.calls(), fileAnswer({pdfType}, QByteArray()));
}

void TestContextFileGetController::aFhirRepresentationAmongOtherTypesIsNotImplemented()
{
    ModuleWithFile module;
    Exchange exchange(module.strategy,
                      get(QStringLiteral("x.pdf?download=true"))
                          .with(accept, QStringLiteral("*/*, application/fhir+json;q=0.1")));
    exchange.handle();
    QCOMPARE(exchange.calls(),
             bareAnswer(501, QStringLiteral("Fhir file reprensentation not implemented.")));
}

void TestContextFileGetController::base64WinsOverTheDownload()
{
    ModuleWithFile module;
    Exchange exchange(module.strategy, get(QStringLiteral("x.pdf?download=true&filename=y.pdf"))
                                           .with(acceptEncoding, QStringLiteral("gzip, base64")));
    const support::LogCapture log;
    exchange.handle();
    QCOMPARE(exchange.calls(),
             fileAnswer({QStringLiteral("Content-Encoding: base64")}, "JVBERgANCv8="));
    QCOMPARE(debugLines(log, category).size(), 1); // the name that was desired plays no part
}

void TestContextFileGetController::base64IsPaddedAndHasNoLineBreaks()
{
    const QByteArray content(301, '\xfb');
    ModuleWithFile module(QStringLiteral("x.bin"), content);
    Exchange exchange(module.strategy,
                      get(QStringLiteral("x.bin")).with(acceptEncoding, QStringLiteral("base64")));
    exchange.handle();
    QByteArray expected;
    for (int i = 0; i < 100; ++i)
        expected += "+/v7";
    QCOMPARE(exchange.response->body(), expected + "+w==");
}

void TestContextFileGetController::theHeaderTestsMindTheCase()
{
    ModuleWithFile module;
    FakeRequest request = get(QStringLiteral("x.pdf"));
    request.with(accept, QStringLiteral("Application/fhir+json"));
    request.with(acceptEncoding, QStringLiteral("Base64"));
    Exchange exchange(module.strategy, request);
    exchange.handle();
    QCOMPARE(exchange.calls(), fileAnswer({pdfType}));
}

void TestContextFileGetController::fhirWinsOverBase64()
{
    ModuleWithFile module;
    FakeRequest request = get(QStringLiteral("x.pdf"));
    request.with(accept, QStringLiteral("application/fhir+json"));
    request.with(acceptEncoding, QStringLiteral("base64"));
    Exchange exchange(module.strategy, request);
    exchange.handle();
    QCOMPARE(exchange.response->statuses(), QVector<int>{501});
}

void TestContextFileGetController::aDownloadWithoutFilenameIsAnAttachment()
{
    ModuleWithFile module(QStringLiteral("x.txt"));
    Exchange exchange(module.strategy, get(QStringLiteral("x.txt?download=true")));
    exchange.handle();
    QCOMPARE(exchange.calls(),
             fileAnswer({downloadType, QStringLiteral("Content-Disposition: attachment")}));
}

void TestContextFileGetController::aDownloadWithAFilenameNamesItVerbatim_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << QStringLiteral("y.pdf") << QStringLiteral("y.pdf");
    QTest::newRow("quotes and semicolons")
        << QStringLiteral("%22a;b%22") << QStringLiteral("\"a;b\"");
    QTest::newRow("a blank") << QStringLiteral("a%20b") << QStringLiteral("a b");
    QTest::newRow("beyond ASCII") << QStringLiteral("%C3%A4.pdf") << QStringLiteral("\u00e4.pdf");
    QTest::newRow("a place marker") << QStringLiteral("%251%252") << QStringLiteral("%251%252");
    QTest::newRow("a plus") << QStringLiteral("a+b") << QStringLiteral("a+b");
}

void TestContextFileGetController::aDownloadWithAFilenameNamesItVerbatim()
{
    QFETCH(QString, query);
    QFETCH(QString, name);
    ModuleWithFile module;
    Exchange exchange(module.strategy,
                      get(QStringLiteral("x.pdf?download=true&filename=") + query));
    exchange.handle();
    QCOMPARE(
        exchange.calls(),
        fileAnswer({downloadType, QStringLiteral("Content-Disposition: attachment; filename=") +
                                      name + QLatin1Char(';')}));
}

void TestContextFileGetController::aDownloadOfAPdfIsAnOctetStream()
{
    ModuleWithFile module;
    Exchange exchange(module.strategy, get(QStringLiteral("x.pdf?download=true")));
    exchange.handle();
    QCOMPARE(exchange.calls().value(0), QStringLiteral("setHeader ") + downloadType);
}

void TestContextFileGetController::onlyDownloadTrueIsADownload_data()
{
    QTest::addColumn<QString>("query");
    QTest::newRow("none") << QString();
    QTest::newRow("empty") << QStringLiteral("?");
    QTest::newRow("without value") << QStringLiteral("?download");
    QTest::newRow("one") << QStringLiteral("?download=1");
    QTest::newRow("in capitals") << QStringLiteral("?download=TRUE");
    QTest::newRow("another item") << QStringLiteral("?Download=true");
    QTest::newRow("a name alone") << QStringLiteral("?filename=y.pdf");
    QTest::newRow("the first of two") << QStringLiteral("?download=false&download=true");
}

void TestContextFileGetController::onlyDownloadTrueIsADownload()
{
    QFETCH(QString, query);
    ModuleWithFile module;
    Exchange exchange(module.strategy, get(QStringLiteral("x.pdf") + query));
    exchange.handle();
    QCOMPARE(exchange.calls(), fileAnswer({pdfType}));
}

void TestContextFileGetController::aDeleteReturnsTheFileAndRemovesNothing()
{
    ModuleWithFile module;
    const QJsonValue before = module.contexts.context(id);
    Exchange exchange(module.strategy,
                      {Request::Delete, QStringLiteral("/context/abc/file/x.pdf")});
    exchange.handle();
    QCOMPARE(exchange.calls(), fileAnswer({pdfType}));
    QCOMPARE(module.contexts.context(id), before);
    QCOMPARE(module.contexts.fileContent(id, QStringLiteral("x.pdf")), bytes);
    QVERIFY(module.publisher.chunks().isEmpty());
}

void TestContextFileGetController::aNameEncodedTwiceIsFoundDecoded()
{
    ModuleWithFile module(QStringLiteral("a b.pdf"));
    Exchange exchange(module.strategy, get(QStringLiteral("a%2520b.pdf")));
    exchange.handle();
    QCOMPARE(exchange.calls(), fileAnswer({pdfType}));
}

void TestContextFileGetController::readingMarksTheContextAsUsed()
{
    ModuleWithFile module;
    module.clock.advance(120000);
    Exchange(module.strategy, get(QStringLiteral("y.pdf"))).handle();
    module.contexts.collectGarbage(60000);
    QCOMPARE(module.contexts.contextIds(), QStringList{id});
}

void TestContextFileGetController::anEmptyIdOrNameThrows()
{
    Module module;
    ContextFileGetController noId(&module.contexts, {}, QStringLiteral("x"), false, {});
    QCOMPARE(thrownBy(noId), QStringLiteral("Context id required."));
    ContextFileGetController noName(&module.contexts, id, {}, false, {});
    QCOMPARE(thrownBy(noName), QStringLiteral("Filename required."));
}

void TestContextFileGetController::logsTheAccess()
{
    ModuleWithFile module;
    support::LogCapture log;
    Exchange(module.strategy, get(QStringLiteral("x.pdf?filename=y"))).handle();
    QCOMPARE(debugLines(log, category),
             QStringList{QStringLiteral("Accessing file \"x.pdf\" within context \"abc\" .")});
}

void TestContextFileGetController::logsTheAccessToWhatIsNotThere()
{
    Module module;
    support::LogCapture log;
    const QStringList access{QStringLiteral("Accessing file \"x\" within context \"abc\" .")};
    Exchange(module.strategy, get(QStringLiteral("x?download=true"))).handle();
    QCOMPARE(debugLines(log, category), access); // no context
    module.contexts.setContext(id, QJsonObject());
    Exchange(module.strategy, get(QStringLiteral("x?download=true"))).handle();
    QCOMPARE(debugLines(log, category), access + access); // no file
}

void TestContextFileGetController::logsTheDesiredNameOfADownload()
{
    ModuleWithFile module;
    support::LogCapture log;
    Exchange(module.strategy, get(QStringLiteral("x.pdf?download=true&filename=y"))).handle();
    Exchange(module.strategy, get(QStringLiteral("x.pdf?download=true"))).handle();
    const QString access = QStringLiteral("Accessing file \"x.pdf\" within context \"abc\" .");
    QCOMPARE(debugLines(log, category),
             (QStringList{access, QStringLiteral("m_desiredFileName:  \"y\""), access,
                          QStringLiteral("m_desiredFileName:  \"\"")}));
}

QTEST_GUILESS_MAIN(TestContextFileGetController)
#include "tst_contextfilegetcontroller.moc"
