#include "http/multipartparser.h"
#include "support/logcapture.h"

#include <QtTest/QtTest>
#include <type_traits>

namespace {

using Files = QMap<QString, QByteArray>;

const QString category = QStringLiteral("ch.brenlo.kavo-service.multipartfiles");

/// Splits by "--b", which the bodies below are made with.
Files parse(const QByteArray &body)
{
    return MultipartParser(QStringLiteral("--b"), body).parse();
}

QByteArray fileHeader(const QByteArray &name)
{
    return "Content-Disposition: form-data; name=\"files\"; filename=\"" + name + "\"\r\n\r\n";
}

/// The name that a part with this Content-Disposition value gets.
QString nameOf(const QByteArray &value)
{
    const Files files =
        parse("--b\r\nContent-Disposition:" + value + "\r\n\r\ncontent\r\n--b--\r\n");
    return files.size() == 1 ? files.firstKey() : QStringLiteral("no single file");
}

QStringList texts(const support::LogCapture &log)
{
    QStringList found;
    for (const support::LogLine &line : log.lines())
        found << line.message;
    return found;
}

} // namespace

class tst_MultipartParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }

    void twoFilesAreReturnedInTheOrderOfTheirNames();
    void ofTwoPartsWithTheSameNameTheSecondStays();
    void partWithoutDispositionTakesTheNameOfTheOneBefore();
    void firstPartWithoutDispositionIsNamedZero();
    void partsWithoutNamesAreNamedByTheNumberOfFiles();
    void dispositionLineInEarlierContentGivesTheName();

    void nameIsReadFromTheDispositionLine_data();
    void nameIsReadFromTheDispositionLine();
    void lastDispositionLineDecides();
    void lineIsOneOnlyWhenTheWordsComeBeforeItsFirstColon_data();
    void lineIsOneOnlyWhenTheWordsComeBeforeItsFirstColon();

    void closingDelimiterWithLineEndLeavesTheLastPartExact();
    void closingDelimiterAtTheEndCutsTheLastByte();
    void closingDelimiterBeforeAnEpilogueCutsTheLastByte();
    void delimiterLineWithTwoBytesBehindItLeavesAByteTooMuch();
    void cutLongerThanThePartLeavesNothing();
    void partialDelimiterInContentIsKept_data();
    void partialDelimiterInContentIsKept();
    void delimiterRightBehindTheBeginningOfOneIsMissed();
    void delimiterTextBeforeTwoDashesClosesThePartAnywhere();
    void delimiterIsFoundWithoutALineEndBeforeIt();
    void lineEndsInContentAreKept();
    void everyByteValueIsKeptInContent();
    void partThatMeetsNoDelimiterRunsToTheEndUnstripped();
    void emptyPartIsStoredEmpty();
    void quotedDelimiterMatchesNoLine();
    void nonAsciiDelimiterIsTakenInLocalEncoding();

    void bodyShorterThanTheDelimiterStoresNothing();
    void bodyOfOneDelimiterLineStoresNothing();
    void bodyWithoutHeaderEndStoresNothing();
    void firstDelimiterIsSkippedUnchecked();
    void headerEndRightBehindALoneCarriageReturnIsMissed();
    void epilogueWithAHeaderEndIsAnotherPart();

    void partsAreLoggedAtDebugLevel();
    void partsAreNotLoggedWhenDebugIsOff();
    void bodyIsNotTakenFromATemporary();
};

void tst_MultipartParser::twoFilesAreReturnedInTheOrderOfTheirNames()
{
    const Files files = parse("--b\r\n" + fileHeader("b.txt") + "text\r\n--b\r\n" +
                              fileHeader("a.pdf") + "%PDF\r\n\r\n\r\n--b--\r\n");
    QCOMPARE(files.keys(), (QStringList{QStringLiteral("a.pdf"), QStringLiteral("b.txt")}));
    QCOMPARE(files.value(QStringLiteral("b.txt")), QByteArray("text"));
    QCOMPARE(files.value(QStringLiteral("a.pdf")), QByteArray("%PDF\r\n\r\n"));
}

void tst_MultipartParser::ofTwoPartsWithTheSameNameTheSecondStays()
{
    const Files files = parse("--b\r\n" + fileHeader("a") + "first\r\n--b\r\n" + fileHeader("a") +
                              "second\r\n--b--\r\n");
    QCOMPARE(files, (Files{{QStringLiteral("a"), "second"}}));
}

void tst_MultipartParser::partWithoutDispositionTakesTheNameOfTheOneBefore()
{
    const Files files = parse("--b\r\n" + fileHeader("a") +
                              "first\r\n--b\r\nContent-Type: text/plain\r\n\r\nsecond\r\n--b\r\n"
                              "\r\n\r\nthird\r\n--b--\r\n");
    QCOMPARE(files, (Files{{QStringLiteral("a"), "third"}}));
}

void tst_MultipartParser::firstPartWithoutDispositionIsNamedZero()
{
    QCOMPARE(parse("--b\r\nContent-Type: text/plain\r\n\r\ntext\r\n--b--\r\n"),
             (Files{{QStringLiteral("0"), "text"}}));
}

void tst_MultipartParser::partsWithoutNamesAreNamedByTheNumberOfFiles()
{
    const Files files = parse("--b\r\nA: 1\r\n\r\nx\r\n--b\r\nA: 2\r\n\r\ny\r\n--b\r\nA: 3\r\n\r\n"
                              "z\r\n--b--\r\n");
    QCOMPARE(files, (Files{{QStringLiteral("0"), "x"},
                           {QStringLiteral("1"), "y"},
                           {QStringLiteral("2"), "z"}}));
}

void tst_MultipartParser::dispositionLineInEarlierContentGivesTheName()
{
    const Files files = parse("--b\r\n" + fileHeader("a") + "x\n" + fileHeader("inner") +
                              "y\r\n--b\r\nA: 1\r\n\r\nz\r\n--b--\r\n");
    QCOMPARE(files, (Files{{QStringLiteral("a"), "x\n" + fileHeader("inner") + "y"},
                           {QStringLiteral("inner"), "z"}}));
}

void tst_MultipartParser::nameIsReadFromTheDispositionLine_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("name");
    QTest::newRow("in quotes") << QByteArray(" form-data; filename=\"a.pdf\"")
                               << QStringLiteral("a.pdf");
    QTest::newRow("without quotes")
        << QByteArray(" form-data; filename=a.pdf") << QStringLiteral("a.pdf");
    QTest::newRow("without quotes, to the end of the line")
        << QByteArray(" form-data; filename=a.pdf; size=3") << QStringLiteral("a.pdf; size=3");
    QTest::newRow("in quotes, with a parameter behind")
        << QByteArray(" form-data; filename=\"a.pdf\"; size=3")
        << QStringLiteral("a.pdf\"; size=3");
    QTest::newRow("one quote of two")
        << QByteArray("filename=\"\"a\"\"") << QStringLiteral("\"a\"");
    QTest::newRow("leading quote only") << QByteArray("filename=\"a") << QStringLiteral("a");
    QTest::newRow("trailing quote only") << QByteArray("filename=a\"") << QStringLiteral("a");
    QTest::newRow("up to a further colon")
        << QByteArray("filename=\"c:\\a.pdf\"") << QStringLiteral("c");
    QTest::newRow("up to a further filename=")
        << QByteArray("filename=a;filename=b") << QStringLiteral("a;");
    QTest::newRow("blanks at the end") << QByteArray("filename=\"a\" \t") << QStringLiteral("a");
    QTest::newRow("blanks before a colon") << QByteArray("filename=a :") << QStringLiteral("a ");
    QTest::newRow("UTF-8") << QByteArray("filename=\"\xc3\xa4.pdf\"")
                           << QStringLiteral(u"\u00e4.pdf");
    QTest::newRow("NUL byte") << QByteArray("filename=\"a\0b\"", 14)
                              << QString::fromLatin1("a\0b", 3);
    QTest::newRow("empty counts as none") << QByteArray("filename=\"\"") << QStringLiteral("0");
    QTest::newRow("a quote alone counts as none")
        << QByteArray("filename=\"") << QStringLiteral("0");
    QTest::newRow("no filename=") << QByteArray(" form-data; name=\"x\"") << QStringLiteral("0");
    QTest::newRow("filename*=") << QByteArray("filename*=UTF-8''a") << QStringLiteral("0");
    QTest::newRow("other case") << QByteArray("Filename=a") << QStringLiteral("0");
}

void tst_MultipartParser::nameIsReadFromTheDispositionLine()
{
    QFETCH(QByteArray, value);
    QFETCH(QString, name);
    QCOMPARE(nameOf(value), name);
}

void tst_MultipartParser::lastDispositionLineDecides()
{
    QCOMPARE(nameOf("filename=a\r\nContent-Disposition: filename=b"), QStringLiteral("b"));
    QCOMPARE(nameOf("filename=a\nContent-Disposition: filename=b"), QStringLiteral("b"));
    QCOMPARE(nameOf("filename=a\r\nContent-Disposition: name=b"), QStringLiteral("0"));
    QCOMPARE(nameOf("filename=a\r\nContent-Disposition"), QStringLiteral("0"));
}

void tst_MultipartParser::lineIsOneOnlyWhenTheWordsComeBeforeItsFirstColon_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << QByteArray("Content-Disposition: filename=a") << QStringLiteral("a");
    QTest::newRow("within others")
        << QByteArray("X-Content-Disposition-Y: filename=a") << QStringLiteral("a");
    QTest::newRow("indented") << QByteArray(" \tContent-Disposition: filename=a")
                              << QStringLiteral("a");
    QTest::newRow("lower case") << QByteArray("content-disposition: filename=a")
                                << QStringLiteral("0");
    QTest::newRow("behind a colon")
        << QByteArray("X: Content-Disposition: filename=a") << QStringLiteral("0");
    QTest::newRow("across lines") << QByteArray("Content-\nDisposition: filename=a")
                                  << QStringLiteral("0");
    QTest::newRow("CR alone ends no line")
        << QByteArray("X: y\rContent-Disposition: filename=a") << QStringLiteral("0");
}

void tst_MultipartParser::lineIsOneOnlyWhenTheWordsComeBeforeItsFirstColon()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, name);
    QCOMPARE(parse("--b\r\n" + line + "\r\n\r\nx\r\n--b--\r\n"), (Files{{name, "x"}}));
}

void tst_MultipartParser::closingDelimiterWithLineEndLeavesTheLastPartExact()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "12345\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), "12345"}}));
}

void tst_MultipartParser::closingDelimiterAtTheEndCutsTheLastByte()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "12345\r\n--b--"),
             (Files{{QStringLiteral("a"), "1234"}}));
}

void tst_MultipartParser::closingDelimiterBeforeAnEpilogueCutsTheLastByte()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "12345\r\n--b--\r\nepilogue"),
             (Files{{QStringLiteral("a"), "1234"}}));
}

void tst_MultipartParser::delimiterLineWithTwoBytesBehindItLeavesAByteTooMuch()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "12345\r\n--b\r\n\r\n"),
             (Files{{QStringLiteral("a"), "12345\r"}}));
}

void tst_MultipartParser::cutLongerThanThePartLeavesNothing()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "--b\r\n" + fileHeader("c") + "x\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), ""}, {QStringLiteral("c"), "x"}}));
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "\r\n--b--"), (Files{{QStringLiteral("a"), ""}}));
}

void tst_MultipartParser::partialDelimiterInContentIsKept_data()
{
    QTest::addColumn<QByteArray>("content");
    for (const char *content : {"x--", "x--b", "x\r\n--b", "x--b\r", "x--b\rx", "x--bx\r\n",
                                "x--b-", "x--b-x", "x--b-\r\n", "x--b \r\n", "x--B\r\n", "x--b\n"})
        QTest::addRow("%s", QByteArray(content).toPercentEncoding().constData())
            << QByteArray(content);
}

void tst_MultipartParser::partialDelimiterInContentIsKept()
{
    QFETCH(QByteArray, content);
    const QByteArray whole = content + "tail";
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + whole + "\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), whole}}));
}

void tst_MultipartParser::delimiterRightBehindTheBeginningOfOneIsMissed()
{
    // The third dash breaks off the first two and does not begin anew, so "-b" is left over.
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "x---b\r\ny\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), "x---b\r\ny"}}));
}

void tst_MultipartParser::delimiterTextBeforeTwoDashesClosesThePartAnywhere()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "12345678--b--9\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), "12345"}}));
}

void tst_MultipartParser::delimiterIsFoundWithoutALineEndBeforeIt()
{
    QCOMPARE(
        parse("--b\r\n" + fileHeader("a") + "12345--b\r\n" + fileHeader("c") + "6789x--b--\r\n"),
        (Files{{QStringLiteral("a"), "123"}, {QStringLiteral("c"), "678"}}));
}

void tst_MultipartParser::lineEndsInContentAreKept()
{
    const QByteArray content("\r\n\r\n\n\r\r\n-\r\n--\r\n\r\n\r\n");
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + content + "\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), content}}));
}

void tst_MultipartParser::everyByteValueIsKeptInContent()
{
    QByteArray content;
    for (int round = 0; round < 20; ++round) {
        for (int byte = 0; byte < 256; ++byte)
            content += static_cast<char>(byte);
    }
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + content + "\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), content}}));
}

void tst_MultipartParser::partThatMeetsNoDelimiterRunsToTheEndUnstripped()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "text\r\n--c--\r\n"),
             (Files{{QStringLiteral("a"), "text\r\n--c--\r\n"}}));
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "text\r\n--b-"),
             (Files{{QStringLiteral("a"), "text\r\n--b-"}}));
}

void tst_MultipartParser::emptyPartIsStoredEmpty()
{
    const Files closed = parse("--b\r\n" + fileHeader("a") + "\r\n--b--\r\n");
    QCOMPARE(closed, (Files{{QStringLiteral("a"), ""}}));
    const Files open = parse("--b\r\n" + fileHeader("a"));
    QCOMPARE(open, (Files{{QStringLiteral("a"), ""}}));
}

void tst_MultipartParser::quotedDelimiterMatchesNoLine()
{
    const QByteArray body = "--b\r\n" + fileHeader("a") + "text\r\n--b--\r\n";
    QCOMPARE(MultipartParser(QStringLiteral("--\"b\""), body).parse(),
             (Files{{QStringLiteral("a"), "text\r\n--b--\r\n"}}));
}

void tst_MultipartParser::nonAsciiDelimiterIsTakenInLocalEncoding()
{
    const QString text = QStringLiteral(u"--\u00e4");
    const QByteArray line = text.toLocal8Bit();
    const QByteArray body = line + "\r\n" + fileHeader("a") + "text\r\n" + line + "--\r\n";
    QCOMPARE(MultipartParser(text, body).parse(), (Files{{QStringLiteral("a"), "text"}}));
}

void tst_MultipartParser::bodyShorterThanTheDelimiterStoresNothing()
{
    for (const char *body : {"", "-", "--b", "--b\r"})
        QCOMPARE(parse(body), Files());
}

void tst_MultipartParser::bodyOfOneDelimiterLineStoresNothing()
{
    const support::LogCapture log;
    QCOMPARE(parse("--b\r\n"), Files());
    QVERIFY(log.lines().isEmpty());
}

void tst_MultipartParser::bodyWithoutHeaderEndStoresNothing()
{
    QCOMPARE(parse("--b\r\nContent-Disposition: filename=a\r\ntext\r\n--b--\r\n"), Files());
    QCOMPARE(parse("--b\r\nContent-Disposition: filename=a\n\ntext\r\n--b--\r\n"), Files());
    QCOMPARE(parse("--b\r\n\r\ntext\r\n--b--\r\n"), Files()); // the first CR LF is the delimiter's
}

void tst_MultipartParser::firstDelimiterIsSkippedUnchecked()
{
    QCOMPARE(parse("12345" + fileHeader("a") + "text\r\n--b--\r\n"),
             (Files{{QStringLiteral("a"), "text"}}));
}

void tst_MultipartParser::headerEndRightBehindALoneCarriageReturnIsMissed()
{
    QCOMPARE(parse("--b\r\nContent-Disposition: filename=a\r\r\n\r\ntext\r\n\r\nmore"),
             (Files{{QStringLiteral("a"), "more"}}));
}

void tst_MultipartParser::epilogueWithAHeaderEndIsAnotherPart()
{
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "12345\r\n--b--\r\n" + fileHeader("c") + "text"),
             (Files{{QStringLiteral("a"), "1234"}, {QStringLiteral("c"), "text"}}));
}

void tst_MultipartParser::partsAreLoggedAtDebugLevel()
{
    const QByteArray body = "--b\r\n" + fileHeader("a") + "12345\r\n--b--\r\n";
    const support::LogCapture log;
    parse(body);
    QCOMPARE(texts(log),
             (QStringList{QStringLiteral("Start header at 5"), QStringLiteral("\"a\" of size 5"),
                          QStringLiteral("Start header at %1").arg(body.size() - 2)}));
    for (const support::LogLine &line : log.lines()) {
        QCOMPARE(line.level, QtDebugMsg);
        QCOMPARE(line.category, category);
    }
}

void tst_MultipartParser::partsAreNotLoggedWhenDebugIsOff()
{
    const support::LogCapture log(QStringLiteral("*.debug=false"));
    QCOMPARE(parse("--b\r\n" + fileHeader("a") + "12345\r\n--b--\r\n").size(), 1);
    QVERIFY(log.lines().isEmpty());
}

void tst_MultipartParser::bodyIsNotTakenFromATemporary()
{
    static_assert(std::is_constructible_v<MultipartParser, QString, const QByteArray &>);
    static_assert(!std::is_constructible_v<MultipartParser, QString, QByteArray>);
    const QByteArray body("--b\r\n\r\n\r\nx");
    const MultipartParser parser(QStringLiteral("--b"), body);
    QCOMPARE(parser.parse(), parser.parse()); // nothing is used up
}

QTEST_GUILESS_MAIN(tst_MultipartParser)
#include "tst_multipartparser.moc"
