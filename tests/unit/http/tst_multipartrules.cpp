#include "http/multipartparser.h"
#include "support/logcapture.h"
#include "support/multipartgenerator.h"
#include "support/multipartreference.h"

#include <QtCore/QDebug>
#include <QtTest/QtTest>

// The parser looks at few of the bytes; here it must do in every byte what the rules say that are
// stated byte by byte.

namespace {

QStringList expectedLog(const support::MultipartOutcome &outcome)
{
    QStringList lines;
    for (int i = 0; i < outcome.headerOffsets.size(); ++i) {
        QString start;
        QDebug(&start) << "Start header at" << outcome.headerOffsets.at(i);
        lines << start.trimmed();
        if (i < outcome.parts.size()) {
            QString part;
            QDebug(&part) << outcome.parts.at(i).name << "of size" << outcome.parts.at(i).size;
            lines << part.trimmed();
        }
    }
    return lines;
}

QStringList messages(const support::LogCapture &log)
{
    QStringList texts;
    for (const support::LogLine &line : log.lines())
        texts << line.message;
    return texts;
}

/// Empty when parser and rules agree on the files and on what is logged.
QByteArray difference(const support::MultipartCase &made, support::LogCapture &log)
{
    const auto outcome = support::parseMultipartByTheRules(made.delimiterText, made.body);
    log.clear();
    const auto files = MultipartParser(made.delimiterText, made.body).parse();
    if (files == outcome.files && messages(log) == expectedLog(outcome))
        return QByteArray();
    QString text;
    QDebug(&text) << "delimiter" << made.delimiterText << "body" << made.body << "\nfiles" << files
                  << "\nrules" << outcome.files << "\nlog" << messages(log) << "\nrules"
                  << expectedLog(outcome);
    return text.toUtf8();
}

template<typename Make>
void compareCases(quint32 firstSeed, int count, Make make)
{
    support::LogCapture log;
    for (int i = 0; i < count; ++i) {
        const quint32 seed = firstSeed + static_cast<quint32>(i);
        support::MultipartGenerator generator(seed);
        const QByteArray found = difference(make(generator), log);
        const QByteArray report = "seed " + QByteArray::number(seed) + ": " + found;
        QVERIFY2(found.isEmpty(), report.constData());
    }
}

/// Calls `visit` with every text of `length` letters of `alphabet`.
template<typename Visit>
bool forAllTexts(const QByteArray &alphabet, int length, Visit visit)
{
    QVector<int> letters(length);
    QByteArray text(length, alphabet.at(0));
    while (true) {
        if (!visit(text))
            return false;
        int place = 0;
        while (place < length && ++letters[place] == alphabet.size()) {
            letters[place] = 0;
            text[place] = alphabet.at(0);
            ++place;
        }
        if (place == length)
            return true;
        text[place] = alphabet.at(letters[place]);
    }
}

} // namespace

class tst_MultipartRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wellFormedBodies();
    void damagedBodies();
    void heapsOfNearDelimiters();
    void largeBodies();
    void everyShortContent_data();
    void everyShortContent();
    void everyShortHeader();
};

void tst_MultipartRules::wellFormedBodies()
{
    compareCases(1, 10000,
                 [](support::MultipartGenerator &generator) { return generator.wellFormed(); });
}

void tst_MultipartRules::damagedBodies()
{
    compareCases(1000001, 20000,
                 [](support::MultipartGenerator &generator) { return generator.damaged(); });
}

void tst_MultipartRules::heapsOfNearDelimiters()
{
    compareCases(2000001, 20000,
                 [](support::MultipartGenerator &generator) { return generator.heap(); });
}

void tst_MultipartRules::largeBodies()
{
    compareCases(3000001, 60,
                 [](support::MultipartGenerator &generator) { return generator.largeHeap(20000); });
}

void tst_MultipartRules::everyShortContent_data()
{
    QTest::addColumn<QByteArray>("delimiter");
    QTest::addColumn<QByteArray>("alphabet");
    QTest::newRow("empty") << QByteArray() << QByteArray("\r\n-");
    QTest::newRow("one dash") << QByteArray("-") << QByteArray("\r\n-x");
    QTest::newRow("two dashes") << QByteArray("--") << QByteArray("\r\n-x");
    QTest::newRow("letter") << QByteArray("a") << QByteArray("\r\n-a");
    QTest::newRow("dash and letter") << QByteArray("-a") << QByteArray("\r\n-a");
    QTest::newRow("same letters") << QByteArray("aa") << QByteArray("\r\n-a");
    QTest::newRow("letters that repeat") << QByteArray("aba") << QByteArray("\r\n-ab");
    QTest::newRow("CR") << QByteArray("\r") << QByteArray("\r\n-");
}

void tst_MultipartRules::everyShortContent()
{
    QFETCH(QByteArray, delimiter);
    QFETCH(QByteArray, alphabet);
    const support::LogCapture quiet(QStringLiteral("*.debug=false"));
    const QString text = QString::fromLatin1(delimiter);
    QByteArray differing;
    forAllTexts(alphabet, alphabet.size() > 4 ? 6 : 7, [&](const QByteArray &content) {
        const QByteArray body = delimiter + "\r\n\r\n\r\n" + content;
        if (MultipartParser(text, body).parse() !=
            support::parseMultipartByTheRules(text, body).files)
            differing = body;
        return differing.isEmpty();
    });
    QVERIFY2(differing.isEmpty(), differing.toPercentEncoding().constData());
}

void tst_MultipartRules::everyShortHeader()
{
    const support::LogCapture quiet(QStringLiteral("*.debug=false"));
    const QString text = QStringLiteral("--b");
    QByteArray differing;
    forAllTexts("\r\n:", 9, [&](const QByteArray &header) {
        const QByteArray body = "--b\r\n" + header + "Content-Disposition:filename=a\r\n\r\nx";
        if (MultipartParser(text, body).parse() !=
            support::parseMultipartByTheRules(text, body).files)
            differing = body;
        return differing.isEmpty();
    });
    QVERIFY2(differing.isEmpty(), differing.toPercentEncoding().constData());
}

QTEST_GUILESS_MAIN(tst_MultipartRules)
#include "tst_multipartrules.moc"
