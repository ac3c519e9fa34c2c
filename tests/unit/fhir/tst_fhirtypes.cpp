#include "fhir/attachment.h"
#include "fhir/codeableconcept.h"
#include "fhir/coding.h"
#include "fhir/identifier.h"
#include "fhir/meta.h"
#include "fhir/period.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtTest/QtTest>

using namespace domain;

namespace {

QJsonObject json(const char *text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(text), &error);
    if (!document.isObject())
        qFatal("The test's JSON is no object: %s", text);
    return document.object();
}

template<typename Value>
Value read(const char *text)
{
    Value value;
    fromJson(value, json(text));
    return value;
}

QDateTime localTime(int hour)
{
    return QDateTime(QDate(2020, 1, 21), QTime(hour, 5, 9));
}

} // namespace

class tst_FhirTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void allTypesStartEmpty();

    void codingReadsEveryMember();
    void codingReadOverAnotherIsOverwrittenByMissingMembers();
    void codingReadsMistypedMembersAsEmpty();
    void codingWithOnlyACodeIsWrittenWithOnlyThatMember();
    void codingWritesEachMemberUnderItsCondition_data();
    void codingWritesEachMemberUnderItsCondition();
    void codingWithUserSelectedFalseIsWrittenWithoutIt();
    void emptyCodingIsWrittenAsAnEmptyObject();

    void conceptWithACodingArrayHasAnEmptyCodingAndItsText();
    void conceptWithACodingObjectHasItsCode();
    void conceptReplacesTheCodingButKeepsATextThatIsNotGiven();

    void periodReadsBothEnds();
    void periodStartThatIsNoDateStaysNull();
    void periodKeepsAnEndThatIsNotGiven();

    void identifierReadsEveryMember();
    void identifierKeepsTextsAndReplacesTypeAndPeriodWhenNotGiven();

    void metaReadsEveryMember();
    void metaHoldsAnEmptyCodingForASecurityLabelThatIsNoObject();
    void metaReplacesTextsAndTimeAndAddsLabels();
    void metaReadsAListOfProfilesAsEmpty();

    void attachmentReadsEveryMember();
    void attachmentSizeInAStringIsZero();
    void attachmentDataIsKeptByteForByteAsItsBase64Text();
    void attachmentKeepsWhatIsNotGiven();
    void attachmentMembersOfTheWrongTypeBecomeEmpty();

    void dateAndTimeAreReadAsIsoText_data();
    void dateAndTimeAreReadAsIsoText();
};

void tst_FhirTypes::allTypesStartEmpty()
{
    const Coding coding;
    QVERIFY(coding.system.isEmpty() && coding.version.isEmpty() && coding.code.isEmpty());
    QVERIFY(coding.display.isEmpty() && !coding.userSelected);
    const CodeableConcept codeable;
    QVERIFY(codeable.coding.code.isEmpty() && codeable.text.isEmpty());
    const Period period;
    QVERIFY(period.start.isNull() && period.end.isNull());
    const Identifier identifier;
    QVERIFY(identifier.use.isEmpty() && identifier.system.isEmpty() && identifier.value.isEmpty());
    QVERIFY(identifier.type.text.isEmpty() && identifier.period.start.isNull());
    const Meta meta;
    QVERIFY(meta.versionId.isEmpty() && meta.lastUpdated.isNull() && meta.profile.isEmpty());
    QVERIFY(meta.security.isEmpty() && meta.tag.isEmpty());
    const Attachment attachment;
    QVERIFY(attachment.contentType.isEmpty() && attachment.language.isEmpty());
    QVERIFY(attachment.data.isEmpty() && attachment.url.isEmpty() && attachment.size == 0);
    QVERIFY(attachment.hash.isEmpty() && attachment.title.isEmpty() &&
            attachment.creation.isNull());
}

void tst_FhirTypes::codingReadsEveryMember()
{
    const auto coding = read<Coding>(R"({"system": "s", "version": "v", "code": "c",
                                         "display": "d", "userSelected": true})");
    QCOMPARE(coding.system, QStringLiteral("s"));
    QCOMPARE(coding.version, QStringLiteral("v"));
    QCOMPARE(coding.code, QStringLiteral("c"));
    QCOMPARE(coding.display, QStringLiteral("d"));
    QVERIFY(coding.userSelected);
}

void tst_FhirTypes::codingReadOverAnotherIsOverwrittenByMissingMembers()
{
    Coding coding;
    coding.system = coding.version = coding.code = coding.display = QStringLiteral("old");
    coding.userSelected = true;
    fromJson(coding, json(R"({"code": "new"})"));
    QCOMPARE(coding.code, QStringLiteral("new"));
    QCOMPARE(coding.system, QString());
    QCOMPARE(coding.version, QString());
    QCOMPARE(coding.display, QString());
    QVERIFY(!coding.userSelected);
}

void tst_FhirTypes::codingReadsMistypedMembersAsEmpty()
{
    Coding coding;
    coding.system = coding.version = coding.code = coding.display = QStringLiteral("old");
    coding.userSelected = true;
    fromJson(coding, json(R"({"system": 1, "version": null, "code": ["c"], "display": {},
                              "userSelected": "true"})"));
    QCOMPARE(coding.system, QString());
    QCOMPARE(coding.version, QString());
    QCOMPARE(coding.code, QString());
    QCOMPARE(coding.display, QString());
    QVERIFY(!coding.userSelected);
}

void tst_FhirTypes::codingWithOnlyACodeIsWrittenWithOnlyThatMember()
{
    Coding coding;
    coding.code = QStringLiteral("55107-7");
    QCOMPARE(coding.toJson(), json(R"({"code": "55107-7"})"));
}

void tst_FhirTypes::codingWritesEachMemberUnderItsCondition_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char *text : {R"({"system": "s"})", R"({"version": "v"})", R"({"code": "c"})",
                             R"({"display": "d"})", R"({"userSelected": true})",
                             R"({"system": "s", "version": "v", "code": "c", "display": "d",
                                 "userSelected": true})"})
        QTest::addRow("%s", text) << QByteArray(text);
}

void tst_FhirTypes::codingWritesEachMemberUnderItsCondition()
{
    QFETCH(QByteArray, text);
    QCOMPARE(read<Coding>(text.constData()).toJson(), json(text.constData()));
}

void tst_FhirTypes::codingWithUserSelectedFalseIsWrittenWithoutIt()
{
    const auto coding = read<Coding>(R"({"code": "c", "userSelected": false})");
    QCOMPARE(coding.toJson(), json(R"({"code": "c"})"));
}

void tst_FhirTypes::emptyCodingIsWrittenAsAnEmptyObject()
{
    QCOMPARE(Coding().toJson(), QJsonObject());
}

void tst_FhirTypes::conceptWithACodingArrayHasAnEmptyCodingAndItsText()
{
    const auto codeable = read<CodeableConcept>(R"({"coding": [{"code": "x"}], "text": "T"})");
    QCOMPARE(codeable.coding.toJson(), QJsonObject());
    QCOMPARE(codeable.text, QStringLiteral("T"));
}

void tst_FhirTypes::conceptWithACodingObjectHasItsCode()
{
    const auto codeable = read<CodeableConcept>(R"({"coding": {"code": "x"}})");
    QCOMPARE(codeable.coding.code, QStringLiteral("x"));
    QCOMPARE(codeable.text, QString());
}

void tst_FhirTypes::conceptReplacesTheCodingButKeepsATextThatIsNotGiven()
{
    auto codeable = read<CodeableConcept>(R"({"coding": {"code": "x"}, "text": "T"})");
    fromJson(codeable, json(R"({"text": ""})"));
    QCOMPARE(codeable.coding.toJson(), QJsonObject());
    QCOMPARE(codeable.text, QStringLiteral("T"));
}

void tst_FhirTypes::periodReadsBothEnds()
{
    const auto period =
        read<Period>(R"({"start": "2020-01-21T14:05:09", "end": "2020-01-21T15:05:09"})");
    QCOMPARE(period.start, localTime(14));
    QCOMPARE(period.end, localTime(15));
}

void tst_FhirTypes::periodStartThatIsNoDateStaysNull()
{
    const auto period = read<Period>(R"({"start": "yesterday", "end": "2020-01-21T15:05:09"})");
    QVERIFY(period.start.isNull());
    QCOMPARE(period.end, localTime(15));
}

void tst_FhirTypes::periodKeepsAnEndThatIsNotGiven()
{
    auto period = read<Period>(R"({"start": "2020-01-21T14:05:09", "end": "2020-01-21T15:05:09"})");
    fromJson(period, json(R"({"start": 5, "end": "x"})"));
    QCOMPARE(period.start, localTime(14));
    QCOMPARE(period.end, localTime(15));
    fromJson(period, json(R"({"start": "2020-01-21T16:05:09"})"));
    QCOMPARE(period.start, localTime(16));
    QCOMPARE(period.end, localTime(15));
}

void tst_FhirTypes::identifierReadsEveryMember()
{
    const auto identifier = read<Identifier>(
        R"({"use": "official", "type": {"coding": {"code": "MR"}, "text": "T"}, "system": "s",
            "value": "v", "period": {"start": "2020-01-21T14:05:09"}})");
    QCOMPARE(identifier.use, QStringLiteral("official"));
    QCOMPARE(identifier.type.coding.code, QStringLiteral("MR"));
    QCOMPARE(identifier.type.text, QStringLiteral("T"));
    QCOMPARE(identifier.system, QStringLiteral("s"));
    QCOMPARE(identifier.value, QStringLiteral("v"));
    QCOMPARE(identifier.period.start, localTime(14));
    QVERIFY(identifier.period.end.isNull());
}

void tst_FhirTypes::identifierKeepsTextsAndReplacesTypeAndPeriodWhenNotGiven()
{
    auto identifier = read<Identifier>(
        R"({"use": "official", "type": {"coding": {"code": "MR"}, "text": "T"}, "system": "s",
            "value": "v", "period": {"start": "2020-01-21T14:05:09"}})");
    fromJson(identifier, json(R"({"use": "", "system": 1, "type": [], "period": "x"})"));
    QCOMPARE(identifier.use, QStringLiteral("official"));
    QCOMPARE(identifier.system, QStringLiteral("s"));
    QCOMPARE(identifier.value, QStringLiteral("v"));
    QCOMPARE(identifier.type.coding.code, QString());
    QCOMPARE(identifier.type.text, QString());
    QVERIFY(identifier.period.start.isNull());
}

void tst_FhirTypes::metaReadsEveryMember()
{
    const auto meta = read<Meta>(
        R"({"versionId": "3", "lastUpdated": "2020-01-21T14:05:09", "profile": "p",
            "security": [{"code": "R"}], "tag": [{"code": "a"}, {"code": "b"}]})");
    QCOMPARE(meta.versionId, QStringLiteral("3"));
    QCOMPARE(meta.lastUpdated, localTime(14));
    QCOMPARE(meta.profile, QStringLiteral("p"));
    QCOMPARE(meta.security.size(), 1);
    QCOMPARE(meta.security.at(0).code, QStringLiteral("R"));
    QCOMPARE(meta.tag.size(), 2);
    QCOMPARE(meta.tag.at(0).code, QStringLiteral("a"));
    QCOMPARE(meta.tag.at(1).code, QStringLiteral("b"));
}

void tst_FhirTypes::metaHoldsAnEmptyCodingForASecurityLabelThatIsNoObject()
{
    const auto meta = read<Meta>(R"({"security": [1, {"code": "R"}], "tag": ["x"]})");
    QCOMPARE(meta.security.size(), 2);
    QCOMPARE(meta.security.at(0).toJson(), QJsonObject());
    QCOMPARE(meta.security.at(1).code, QStringLiteral("R"));
    QCOMPARE(meta.tag.size(), 1);
    QCOMPARE(meta.tag.at(0).toJson(), QJsonObject());
}

void tst_FhirTypes::metaReplacesTextsAndTimeAndAddsLabels()
{
    auto meta = read<Meta>(
        R"({"versionId": "3", "lastUpdated": "2020-01-21T14:05:09", "profile": "p",
            "security": [{"code": "R"}], "tag": [{"code": "a"}]})");
    fromJson(meta, json(R"({"lastUpdated": "x", "security": [{"code": "S"}]})"));
    QCOMPARE(meta.versionId, QString());
    QVERIFY(meta.lastUpdated.isNull());
    QCOMPARE(meta.profile, QString());
    QCOMPARE(meta.security.size(), 2);
    QCOMPARE(meta.security.at(0).code, QStringLiteral("R"));
    QCOMPARE(meta.security.at(1).code, QStringLiteral("S"));
    QCOMPARE(meta.tag.size(), 1);
}

void tst_FhirTypes::metaReadsAListOfProfilesAsEmpty()
{
    Meta meta;
    meta.profile = QStringLiteral("old");
    fromJson(meta, json(R"({"profile": ["p"]})"));
    QCOMPARE(meta.profile, QString());
}

void tst_FhirTypes::attachmentReadsEveryMember()
{
    const auto attachment = read<Attachment>(
        R"({"contentType": "application/pdf", "language": "de-CH", "data": "QUJD", "url": "/u",
            "size": 3, "hash": "aGFzaA==", "title": "t", "creation": "2020-01-21T14:05:09"})");
    QCOMPARE(attachment.contentType, QStringLiteral("application/pdf"));
    QCOMPARE(attachment.language, QStringLiteral("de-CH"));
    QCOMPARE(attachment.data, QByteArray("QUJD"));
    QCOMPARE(attachment.url, QStringLiteral("/u"));
    QCOMPARE(attachment.size, 3);
    QCOMPARE(attachment.hash, QByteArray("aGFzaA=="));
    QCOMPARE(attachment.title, QStringLiteral("t"));
    QCOMPARE(attachment.creation, localTime(14));
}

void tst_FhirTypes::attachmentSizeInAStringIsZero()
{
    Attachment attachment;
    attachment.size = 7;
    fromJson(attachment, json(R"({"size": "12"})"));
    QCOMPARE(attachment.size, 0);
}

void tst_FhirTypes::attachmentDataIsKeptByteForByteAsItsBase64Text()
{
    const auto attachment = read<Attachment>(R"({"data": "Q U\nJD==\u00fc", "hash": "\u00e4="})");
    QCOMPARE(attachment.data, QByteArray("Q U\nJD==\xfc"));
    QCOMPARE(attachment.hash, QByteArray("\xe4="));
}

void tst_FhirTypes::attachmentKeepsWhatIsNotGiven()
{
    auto attachment = read<Attachment>(
        R"({"contentType": "application/pdf", "language": "de-CH", "data": "QUJD", "url": "/u",
            "size": 3, "hash": "aGFzaA==", "title": "t", "creation": "2020-01-21T14:05:09"})");
    fromJson(attachment, json(R"({"url": "/v"})"));
    QCOMPARE(attachment.contentType, QStringLiteral("application/pdf"));
    QCOMPARE(attachment.language, QStringLiteral("de-CH"));
    QCOMPARE(attachment.data, QByteArray("QUJD"));
    QCOMPARE(attachment.url, QStringLiteral("/v"));
    QCOMPARE(attachment.size, 3);
    QCOMPARE(attachment.hash, QByteArray("aGFzaA=="));
    QCOMPARE(attachment.title, QStringLiteral("t"));
    QCOMPARE(attachment.creation, localTime(14));
}

void tst_FhirTypes::attachmentMembersOfTheWrongTypeBecomeEmpty()
{
    auto attachment = read<Attachment>(
        R"({"contentType": "application/pdf", "language": "de-CH", "data": "QUJD", "url": "/u",
            "size": 3, "hash": "aGFzaA==", "title": "t", "creation": "2020-01-21T14:05:09"})");
    fromJson(attachment, json(R"({"contentType": 1, "language": null, "data": [], "url": {},
                                  "size": true, "hash": 2, "title": false, "creation": 3})"));
    QCOMPARE(attachment.contentType, QString());
    QCOMPARE(attachment.language, QString());
    QCOMPARE(attachment.data, QByteArray());
    QCOMPARE(attachment.url, QString());
    QCOMPARE(attachment.size, 0);
    QCOMPARE(attachment.hash, QByteArray());
    QCOMPARE(attachment.title, QString());
    QVERIFY(attachment.creation.isNull());
}

void tst_FhirTypes::dateAndTimeAreReadAsIsoText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("expected");
    QTest::newRow("local time") << QStringLiteral("2020-01-21T14:05:09") << localTime(14);
    QTest::newRow("with offset") << QStringLiteral("2020-01-21T14:05:09+01:00")
                                 << QDateTime(QDate(2020, 1, 21), QTime(14, 5, 9),
                                              Qt::OffsetFromUTC, 3600);
    QTest::newRow("UTC") << QStringLiteral("2020-01-21T14:05:09Z")
                         << QDateTime(QDate(2020, 1, 21), QTime(14, 5, 9), Qt::UTC);
    QTest::newRow("date only") << QStringLiteral("2020-01-21")
                               << QDateTime(QDate(2020, 1, 21), QTime(0, 0));
    QTest::newRow("no such month") << QStringLiteral("2020-13-21") << QDateTime();
    QTest::newRow("empty") << QString() << QDateTime();
}

void tst_FhirTypes::dateAndTimeAreReadAsIsoText()
{
    QFETCH(QString, text);
    QFETCH(QDateTime, expected);
    Period period;
    fromJson(period, QJsonObject{{QStringLiteral("start"), text}, {QStringLiteral("end"), text}});
    QCOMPARE(period.start, expected);
    QCOMPARE(period.start.isNull(), expected.isNull());
    QCOMPARE(period.end, expected);
    Meta meta;
    fromJson(meta, QJsonObject{{QStringLiteral("lastUpdated"), text}});
    QCOMPARE(meta.lastUpdated, expected);
    QCOMPARE(meta.lastUpdated.isNull(), expected.isNull());
    Attachment attachment;
    fromJson(attachment, QJsonObject{{QStringLiteral("creation"), text}});
    QCOMPARE(attachment.creation, expected);
    QCOMPARE(attachment.creation.isNull(), expected.isNull());
}

QTEST_GUILESS_MAIN(tst_FhirTypes)
#include "tst_fhirtypes.moc"
