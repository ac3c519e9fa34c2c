#include "chunk/writecardtoxmlbehaviour.h"
#include "chunk/writevekatoxmlbehaviour.h"
#include "chunkfixture.h"
#include "systemsettings.h"

#include <QtCore/QTextCodec>
#include <QtTest/QtTest>

namespace {

QString holder(const char *number)
{
    return QStringLiteral("<vk-adm:cardholderIdentifier>%1</vk-adm:cardholderIdentifier>")
        .arg(latin1(number));
}

QString insured(const char *number)
{
    return QStringLiteral("<vk-adm:insuredPersonNumber>%1</vk-adm:insuredPersonNumber>")
        .arg(latin1(number));
}

QString uniqueId(const char *number)
{
    return QStringLiteral("<unique_id>%1</unique_id>").arg(latin1(number));
}

QJsonObject card(const char *source, const QJsonValue &data)
{
    return {{latin1("source"), latin1(source)}, {latin1("data"), data}};
}

using Numbers = QMap<QString, QString>;

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot open");
}

QStringList files(const QString &directory)
{
    return QDir(directory).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

} // namespace

class tst_Cards : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbersAreLearned_data();
    void numbersAreLearned();
    void laterCardReplacesTheNumber();
    void unknownIdentifierIsEnteredEmpty();
    void cardIsWrittenUnderItsInsuredNumber();
    void vekaOfAnUnknownCardIsWrittenUnderNoNumber();
    void vekaOfALearnedCardIsWrittenUnderItsNumber();
    void firstNumberOfADocumentCounts();
    void numbersAreKeptAsTheyStand_data();
    void numbersAreKeptAsTheyStand();
    void directoryThatReadsAsEmptyIsTheCurrentOne_data();
    void directoryThatReadsAsEmptyIsTheCurrentOne();
    void documentIsWrittenAsReceived();
    void laterDocumentReplacesTheFile();
    void otherChunksWriteNothing_data();
    void otherChunksWriteNothing();
    void settingIsReadAfreshForEachCard();
    void withoutTheSettingTheNumberIsNotLookedUp();
    void settingOfTheOrganisationDoesNotCount();
    void directoryThatIsMissingIsNotMade();
    void nothingIsLogged();
};

void tst_Cards::numbersAreLearned_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::addColumn<Numbers>("learned");
    const auto row = [](const char *name, const QJsonValue &chunk, const Numbers &learned) {
        QTest::newRow(name) << chunk << learned;
    };
    const QString both = holder("123") + insured("456");
    const Numbers nothing;
    const Numbers known{{latin1("123"), latin1("456")}};
    const Numbers empty{{QString(), QString()}};
    row("both numbers", card("Kavo", both), known);
    row("in the other order", card("Kavo", insured("456") + latin1("\n") + holder("123")), known);
    row("the first of several counts", card("Kavo", both + holder("9") + insured("9")), known);
    row("no identifier", card("Kavo", insured("456")), empty);
    row("no insured number", card("Kavo", holder("123")), empty);
    row("letters in the identifier", card("Kavo", holder("12a") + insured("456")), empty);
    row("empty element", card("Kavo", holder("") + insured("456")), empty);
    row("tags in another case", card("Kavo", both.toUpper()), empty);
    row("any other text", card("Kavo", latin1("x")), empty);
    row("empty text", card("Kavo", latin1("")), nothing);
    row("data is no text", card("Kavo", json(R"({"event":"new-context"})")), nothing);
    row("no data", json(R"({"source":"Kavo"})"), nothing);
    row("source in another case", card("kavo", both), nothing);
    row("longer source", card("Kavo2", both), nothing);
    row("source of VeKa documents", card("veka", both), nothing);
    row("source is no text", json(R"({"source":["Kavo"],"data":"x"})"), nothing);
    row("no source", json(R"({"data":"x"})"), nothing);
    row("array", json(R"(["Kavo"])"), nothing);
    row("null", QJsonValue(), nothing);
}

void tst_Cards::numbersAreLearned()
{
    QFETCH(QJsonValue, chunk);
    CardNumberMap cards;
    cards.learn(chunk);
    QTEST(cards.entries(), "learned");
}

void tst_Cards::laterCardReplacesTheNumber()
{
    CardNumberMap cards;
    cards.learn(card("Kavo", holder("1") + insured("2")));
    cards.learn(card("Kavo", holder("1") + insured("3")));
    cards.learn(card("Kavo", latin1("no numbers")));
    const Numbers expected{{QString(), QString()}, {latin1("1"), latin1("3")}};
    QCOMPARE(cards.entries(), expected);
}

void tst_Cards::unknownIdentifierIsEnteredEmpty()
{
    CardNumberMap cards;
    QCOMPARE(cards.insuredPersonNumber(latin1("7")), QString());
    const Numbers expected{{latin1("7"), QString()}};
    QCOMPARE(cards.entries(), expected);
}

void tst_Cards::cardIsWrittenUnderItsInsuredNumber()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    const QString document = latin1("<a>") + insured("456") + latin1("</a>");
    WriteCardToXmlBehaviour().handle(card("Kavo", document));
    QCOMPARE(files(directory), QStringList{latin1("adm_456.xml")});
    QCOMPARE(read(directory + latin1("/adm_456.xml")), document.toLatin1());
}

void tst_Cards::vekaOfAnUnknownCardIsWrittenUnderNoNumber()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    CardNumberMap cards;
    WriteVekaToXmlBehaviour(&cards).handle(card("veka", uniqueId("123")));
    QCOMPARE(files(directory), QStringList{latin1("vkc_.xml")});
    QCOMPARE(read(directory + latin1("/vkc_.xml")), uniqueId("123").toLatin1());
    const Numbers expected{{latin1("123"), QString()}};
    QCOMPARE(cards.entries(), expected);
}

void tst_Cards::vekaOfALearnedCardIsWrittenUnderItsNumber()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    CardNumberMap cards;
    cards.learn(card("Kavo", holder("123") + insured("456")));
    WriteVekaToXmlBehaviour(&cards).handle(card("veka", uniqueId("123")));
    QCOMPARE(files(directory), QStringList{latin1("vkc_456.xml")});
}

void tst_Cards::firstNumberOfADocumentCounts()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    CardNumberMap cards;
    cards.learn(card("Kavo", holder("123") + insured("456")));
    cards.learn(card("Kavo", holder("124") + insured("457")));
    // What is no number is passed over.
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("x") + insured("1") + insured("2")));
    WriteVekaToXmlBehaviour(&cards).handle(
        card("veka", uniqueId("") + uniqueId("123") + uniqueId("124")));
    QCOMPARE(files(directory), (QStringList{latin1("adm_1.xml"), latin1("vkc_456.xml")}));
}

void tst_Cards::numbersAreKeptAsTheyStand_data()
{
    QTest::addColumn<QByteArray>("number");
    QTest::newRow("leading zeros") << QByteArray("007");
    QTest::newRow("zero") << QByteArray("0");
    QTest::newRow("more digits than a number holds") << QByteArray("80756012345678901234");
}

void tst_Cards::numbersAreKeptAsTheyStand()
{
    QFETCH(QByteArray, number);
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    CardNumberMap cards;
    const QJsonObject known = card("Kavo", holder("0099") + insured(number.constData()));
    cards.learn(known);
    WriteCardToXmlBehaviour().handle(known);
    WriteVekaToXmlBehaviour(&cards).handle(card("veka", uniqueId("0099")));
    WriteVekaToXmlBehaviour(&cards).handle(card("veka", uniqueId("99"))); // another card
    const QString name = QString::fromLatin1(number);
    QCOMPARE(files(directory), (QStringList{latin1("adm_%1.xml").arg(name), latin1("vkc_.xml"),
                                            latin1("vkc_%1.xml").arg(name)}));
}

void tst_Cards::directoryThatReadsAsEmptyIsTheCurrentOne_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("a list") << QByteArray("one,two");
}

void tst_Cards::directoryThatReadsAsEmptyIsTheCurrentOne()
{
    QFETCH(QByteArray, value);
    const SystemSettings settings;
    settings.write("[ch.brenlo.kavo-service.context]\nxml.directory=" + value + "\n");
    const QString current = settings.makeDirectory(latin1("current"));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(current));
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("1")));
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(files(current), QStringList{latin1("adm_1.xml")});
}

void tst_Cards::documentIsWrittenAsReceived()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    const QString document =
        insured("1") + QString::fromUtf8("\r\n\tZ\xc3\xbcrich\n\n &amp; no declaration\r");
    WriteCardToXmlBehaviour().handle(card("Kavo", document));
    QCOMPARE(read(directory + latin1("/adm_1.xml")),
             QTextCodec::codecForLocale()->fromUnicode(document));
}

void tst_Cards::laterDocumentReplacesTheFile()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("1") + latin1(" long before")));
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("1")));
    QCOMPARE(read(directory + latin1("/adm_1.xml")), insured("1").toLatin1());
}

void tst_Cards::otherChunksWriteNothing_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    const QString text = insured("456") + uniqueId("123");
    QTest::newRow("source kavo") << QJsonValue(card("kavo", text));
    QTest::newRow("source Veka") << QJsonValue(card("Veka", text));
    QTest::newRow("no source") << QJsonValue(QJsonObject{{latin1("data"), text}});
    QTest::newRow("no data") << json(R"({"source":"Kavo"})");
    QTest::newRow("card without number") << QJsonValue(card("Kavo", uniqueId("123")));
    QTest::newRow("VeKa without number") << QJsonValue(card("veka", insured("456")));
    QTest::newRow("a path as card number") << QJsonValue(card("Kavo", insured("../../x")));
    QTest::newRow("a path as VeKa number") << QJsonValue(card("veka", uniqueId("/etc/x")));
    QTest::newRow("blanks around the number") << QJsonValue(card("Kavo", insured(" 1 ")));
    QTest::newRow("array") << json(R"(["Kavo"])");
    QTest::newRow("null") << QJsonValue();
}

void tst_Cards::otherChunksWriteNothing()
{
    QFETCH(QJsonValue, chunk);
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    CardNumberMap cards;
    WriteCardToXmlBehaviour().handle(chunk);
    WriteVekaToXmlBehaviour(&cards).handle(chunk);
    QVERIFY(files(directory).isEmpty());
    QVERIFY(cards.entries().isEmpty());
}

void tst_Cards::settingIsReadAfreshForEachCard()
{
    const SystemSettings settings;
    const QString first = settings.makeDirectory(latin1("first"));
    const QString second = settings.makeDirectory(latin1("second"));
    settings.writeXmlDirectory(first);
    WriteCardToXmlBehaviour behaviour;
    behaviour.handle(card("Kavo", insured("1")));
    settings.writeXmlDirectory(second);
    behaviour.handle(card("Kavo", insured("2")));
    settings.write("[other]\n");
    behaviour.handle(card("Kavo", insured("3")));
    QCOMPARE(files(first), QStringList{latin1("adm_1.xml")});
    QCOMPARE(files(second), QStringList{latin1("adm_2.xml")});
}

void tst_Cards::withoutTheSettingTheNumberIsNotLookedUp()
{
    const SystemSettings settings;
    settings.write("[other]\n");
    CardNumberMap cards;
    WriteVekaToXmlBehaviour(&cards).handle(card("veka", uniqueId("123")));
    QVERIFY(cards.entries().isEmpty());
}

void tst_Cards::settingOfTheOrganisationDoesNotCount()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    QSettings organisation(QSettings::IniFormat, QSettings::SystemScope,
                           QCoreApplication::organizationName());
    organisation.setValue(latin1("ch.brenlo.kavo-service.context/xml.directory"), directory);
    organisation.sync();
    QVERIFY(QFile::exists(organisation.fileName()));
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("1")));
    QVERIFY(files(directory).isEmpty());
}

void tst_Cards::directoryThatIsMissingIsNotMade()
{
    const SystemSettings settings;
    settings.writeXmlDirectory(settings.path(latin1("missing")));
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("1")));
    QVERIFY(!QFileInfo::exists(settings.path(latin1("missing"))));
}

void tst_Cards::nothingIsLogged()
{
    const SystemSettings settings;
    settings.writeXmlDirectory(settings.makeDirectory(latin1("xml")));
    CardNumberMap cards;
    support::LogCapture log;
    cards.learn(card("Kavo", holder("123") + insured("456")));
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("456")));
    WriteVekaToXmlBehaviour(&cards).handle(card("veka", uniqueId("123")));
    settings.writeXmlDirectory(settings.path(latin1("missing")));
    WriteCardToXmlBehaviour().handle(card("Kavo", insured("456")));
    QVERIFY(log.lines().isEmpty());
}

QTEST_GUILESS_MAIN(tst_Cards)
#include "tst_cards.moc"
