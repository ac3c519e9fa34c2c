#include "fhir/documentreference.h"
#include "support/logcapture.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtTest/QtTest>
#include <memory>
#include <type_traits>

using namespace domain;

namespace {

QJsonObject json(const char *text)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(text));
    if (!document.isObject())
        qFatal("The test's JSON is no object: %s", text);
    return document.object();
}

const char *const fullDocument = R"({
    "resourceType": "DocumentReference", "id": "17",
    "meta": {"versionId": "3", "tag": [{"code": "t"}]},
    "implicitRules": "rules", "language": "de-CH",
    "identifier": [{"value": "a"}, 5, {"value": "b"}],
    "status": "current", "type": {"coding": {"code": "55107-7"}, "text": "T"},
    "content": {"attachment": {"url": "/context/1/file/a.pdf"}, "format": {"code": "f"}}})";

/// A resource class that does not override clone.
class Uncloneable : public Resource
{
public:
    Uncloneable()
        : Resource(41)
    {
    }
    QString own = QStringLiteral("lost");
};

const support::LogLine cloneWarning{
    QtWarningMsg, QStringLiteral("ch.brenlo.kavo-service.fhir.stu3.resource"),
    QStringLiteral(
        "Only Resource is copied. Maybe you want to override clone in your derived class.")};

void compareWithFullDocument(const DocumentReference &document)
{
    QCOMPARE(document.id(), QStringLiteral("17"));
    QCOMPARE(document.meta().versionId, QStringLiteral("3"));
    QCOMPARE(document.meta().tag.size(), 1);
    QCOMPARE(document.implicitRules(), QStringLiteral("rules"));
    QCOMPARE(document.language(), QStringLiteral("de-CH"));
    QCOMPARE(document.identifier().size(), 2);
    QCOMPARE(document.identifier().at(0).value, QStringLiteral("a"));
    QCOMPARE(document.identifier().at(1).value, QStringLiteral("b"));
    QCOMPARE(document.status(), QStringLiteral("current"));
    QCOMPARE(document.type().coding.code, QStringLiteral("55107-7"));
    QCOMPARE(document.type().text, QStringLiteral("T"));
    QCOMPARE(document.content().size(), 1);
    QCOMPARE(document.content().at(0).attachment.url, QStringLiteral("/context/1/file/a.pdf"));
    QCOMPARE(document.content().at(0).format.code, QStringLiteral("f"));
}

} // namespace

class tst_DocumentReference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typeCodesAreTwelveAndThree();
    void resourcesAreNotCopiedByAccident();
    void everyFieldHasAGetterAndASetter();

    void readsEveryMember();
    void entryAsTheSystemWritesItHasItsUrlAndAnEmptyCoding();
    void contentArrayYieldsItsObjectsInOrder();
    void contentThatIsNeitherObjectNorArrayYieldsNoContent();
    void identifierThatIsAnObjectYieldsNoIdentifiers();
    void objectWithoutMembersReadsAsEmpty();
    void readingAgainReplacesAllButTypeAndLabels();
    void typeThatIsNoObjectIsLeftAsItWas();
    void contentMembersThatAreNoObjectsAreLeftAsTheyWere();

    void resourceReadsItsMembers();
    void resourceMembersThatAreMissingOrMistypedBecomeEmpty();
    void resourceMetaIsReadOverTheOneThatIsThere();

    void cloneOfADocumentReferenceKeepsAllFieldsAndLogsNothing();
    void cloneOfADocumentReferenceHasTypeCodeThree();
    void cloneOfAClassThatDoesNotOverrideItWarnsAndReturnsTheBaseFields();
    void cloneOfAPlainResourceWarnsToo();
};

void tst_DocumentReference::typeCodesAreTwelveAndThree()
{
    QCOMPARE(Resource().resourceTypeCode(), 12);
    QCOMPARE(DocumentReference().resourceTypeCode(), 3);
}

void tst_DocumentReference::resourcesAreNotCopiedByAccident()
{
    static_assert(!std::is_copy_constructible_v<Resource>);
    static_assert(!std::is_copy_assignable_v<DocumentReference>);
    static_assert(std::has_virtual_destructor_v<Resource>);
    const std::unique_ptr<Resource> owner = std::make_unique<DocumentReference>();
    QVERIFY(dynamic_cast<DocumentReference *>(owner.get()));
}

void tst_DocumentReference::everyFieldHasAGetterAndASetter()
{
    DocumentReference document;
    document.setResourceTypeCode(8);
    document.setId(QStringLiteral("i"));
    Meta meta;
    meta.profile = QStringLiteral("p");
    document.setMeta(meta);
    document.setImplicitRules(QStringLiteral("r"));
    document.setLanguage(QStringLiteral("l"));
    document.setIdentifier(QVector<Identifier>(2));
    document.setStatus(QStringLiteral("s"));
    CodeableConcept type;
    type.text = QStringLiteral("t");
    document.setType(type);
    document.setContent(QVector<DocumentReferenceContent>(3));

    QCOMPARE(document.resourceTypeCode(), 8);
    QCOMPARE(document.id(), QStringLiteral("i"));
    QCOMPARE(document.meta().profile, QStringLiteral("p"));
    QCOMPARE(document.implicitRules(), QStringLiteral("r"));
    QCOMPARE(document.language(), QStringLiteral("l"));
    QCOMPARE(document.identifier().size(), 2);
    QCOMPARE(document.status(), QStringLiteral("s"));
    QCOMPARE(document.type().text, QStringLiteral("t"));
    QCOMPARE(document.content().size(), 3);
}

void tst_DocumentReference::readsEveryMember()
{
    DocumentReference document;
    fromJson(document, json(fullDocument));
    QCOMPARE(document.resourceTypeCode(), 3);
    compareWithFullDocument(document);
}

void tst_DocumentReference::entryAsTheSystemWritesItHasItsUrlAndAnEmptyCoding()
{
    DocumentReference document;
    fromJson(document, json(R"({"resourceType": "DocumentReference", "status": "current",
        "type": {"coding": [{"code": "55107-7", "display": "Addendum Document"}]},
        "content": {"attachment": {"url": "/context/4711/file/a.pdf"}}})"));
    QCOMPARE(document.content().size(), 1);
    QCOMPARE(document.content().at(0).attachment.url, QStringLiteral("/context/4711/file/a.pdf"));
    QCOMPARE(document.status(), QStringLiteral("current"));
    QCOMPARE(document.type().coding.toJson(), QJsonObject());
}

void tst_DocumentReference::contentArrayYieldsItsObjectsInOrder()
{
    DocumentReference document;
    fromJson(document, json(R"({"content": [{"attachment": {"url": "a"}}, 5,
                                            {"attachment": {"url": "b"}}]})"));
    QCOMPARE(document.content().size(), 2);
    QCOMPARE(document.content().at(0).attachment.url, QStringLiteral("a"));
    QCOMPARE(document.content().at(1).attachment.url, QStringLiteral("b"));
}

void tst_DocumentReference::contentThatIsNeitherObjectNorArrayYieldsNoContent()
{
    DocumentReference document;
    document.setContent(QVector<DocumentReferenceContent>(1));
    fromJson(document, json(R"({"content": "x"})"));
    QVERIFY(document.content().isEmpty());
}

void tst_DocumentReference::identifierThatIsAnObjectYieldsNoIdentifiers()
{
    DocumentReference document;
    document.setIdentifier(QVector<Identifier>(1));
    fromJson(document, json(R"({"identifier": {"value": "v"}})"));
    QVERIFY(document.identifier().isEmpty());
}

void tst_DocumentReference::objectWithoutMembersReadsAsEmpty()
{
    DocumentReference document;
    fromJson(document, QJsonObject());
    QCOMPARE(document.id(), QString());
    QCOMPARE(document.meta().versionId, QString());
    QCOMPARE(document.implicitRules(), QString());
    QCOMPARE(document.language(), QString());
    QVERIFY(document.identifier().isEmpty());
    QCOMPARE(document.status(), QString());
    QCOMPARE(document.type().coding.toJson(), QJsonObject());
    QCOMPARE(document.type().text, QString());
    QVERIFY(document.content().isEmpty());
    QCOMPARE(document.resourceTypeCode(), 3);
}

void tst_DocumentReference::readingAgainReplacesAllButTypeAndLabels()
{
    DocumentReference document;
    fromJson(document, json(fullDocument));
    fromJson(document, QJsonObject());
    QCOMPARE(document.id(), QString());
    QCOMPARE(document.status(), QString());
    QVERIFY(document.identifier().isEmpty());
    QVERIFY(document.content().isEmpty());
    QCOMPARE(document.type().coding.code, QStringLiteral("55107-7"));
    QCOMPARE(document.meta().versionId, QString());
    QCOMPARE(document.meta().tag.size(), 1);
}

void tst_DocumentReference::typeThatIsNoObjectIsLeftAsItWas()
{
    DocumentReference document;
    fromJson(document, json(R"({"type": {"text": "T"}})"));
    fromJson(document, json(R"({"type": [{"text": "U"}]})"));
    QCOMPARE(document.type().text, QStringLiteral("T"));
    fromJson(document, json(R"({"type": {}})"));
    QCOMPARE(document.type().text, QString());
}

void tst_DocumentReference::contentMembersThatAreNoObjectsAreLeftAsTheyWere()
{
    DocumentReferenceContent content;
    fromJson(content,
             json(R"({"attachment": {"url": "u", "title": "t"}, "format": {"code": "f"}})"));
    QCOMPARE(content.attachment.title, QStringLiteral("t"));
    fromJson(content, json(R"({"attachment": "x", "format": [{"code": "g"}]})"));
    QCOMPARE(content.attachment.url, QStringLiteral("u"));
    QCOMPARE(content.format.code, QStringLiteral("f"));
    fromJson(content, json(R"({"attachment": {"url": "v"}, "format": {}})"));
    QCOMPARE(content.attachment.url, QStringLiteral("v"));
    QCOMPARE(content.attachment.title, QString());
    QCOMPARE(content.format.code, QString());
}

void tst_DocumentReference::resourceReadsItsMembers()
{
    Resource resource;
    fromJson(resource, json(fullDocument));
    QCOMPARE(resource.id(), QStringLiteral("17"));
    QCOMPARE(resource.meta().versionId, QStringLiteral("3"));
    QCOMPARE(resource.implicitRules(), QStringLiteral("rules"));
    QCOMPARE(resource.language(), QStringLiteral("de-CH"));
    QCOMPARE(resource.resourceTypeCode(), 12);
}

void tst_DocumentReference::resourceMembersThatAreMissingOrMistypedBecomeEmpty()
{
    Resource resource;
    fromJson(resource, json(fullDocument));
    fromJson(resource, json(R"({"id": 17, "meta": [], "implicitRules": null})"));
    QCOMPARE(resource.id(), QString());
    QCOMPARE(resource.meta().versionId, QString());
    QCOMPARE(resource.implicitRules(), QString());
    QCOMPARE(resource.language(), QString());
}

void tst_DocumentReference::resourceMetaIsReadOverTheOneThatIsThere()
{
    Resource resource;
    fromJson(resource, json(R"({"meta": {"tag": [{"code": "a"}], "profile": "p"}})"));
    fromJson(resource, json(R"({"meta": {"tag": [{"code": "b"}]}})"));
    QCOMPARE(resource.meta().profile, QString());
    QCOMPARE(resource.meta().tag.size(), 2);
    QCOMPARE(resource.meta().tag.at(0).code, QStringLiteral("a"));
    QCOMPARE(resource.meta().tag.at(1).code, QStringLiteral("b"));
}

void tst_DocumentReference::cloneOfADocumentReferenceKeepsAllFieldsAndLogsNothing()
{
    DocumentReference document;
    fromJson(document, json(fullDocument));
    const support::LogCapture log;
    const std::unique_ptr<Resource> copy = document.clone();
    QVERIFY(log.lines().isEmpty());
    const auto *copied = dynamic_cast<DocumentReference *>(copy.get());
    QVERIFY(copied && copied != &document);
    compareWithFullDocument(*copied);

    document.setStatus(QStringLiteral("superseded"));
    document.setContent({});
    compareWithFullDocument(*copied);
}

void tst_DocumentReference::cloneOfADocumentReferenceHasTypeCodeThree()
{
    DocumentReference document;
    document.setResourceTypeCode(99);
    QCOMPARE(document.clone()->resourceTypeCode(), 3);
}

void tst_DocumentReference::cloneOfAClassThatDoesNotOverrideItWarnsAndReturnsTheBaseFields()
{
    Uncloneable resource;
    fromJson(resource, json(fullDocument));
    const support::LogCapture log;
    const std::unique_ptr<Resource> copy = resource.clone();
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.lines().first() == cloneWarning);
    QVERIFY(!dynamic_cast<Uncloneable *>(copy.get()));
    QCOMPARE(copy->resourceTypeCode(), 41);
    QCOMPARE(copy->id(), QStringLiteral("17"));
    QCOMPARE(copy->meta().versionId, QStringLiteral("3"));
    QCOMPARE(copy->meta().tag.size(), 1);
    QCOMPARE(copy->implicitRules(), QStringLiteral("rules"));
    QCOMPARE(copy->language(), QStringLiteral("de-CH"));
}

void tst_DocumentReference::cloneOfAPlainResourceWarnsToo()
{
    const Resource resource;
    const support::LogCapture log;
    const std::unique_ptr<Resource> copy = resource.clone();
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.lines().first() == cloneWarning);
    QCOMPARE(copy->resourceTypeCode(), 12);
}

QTEST_GUILESS_MAIN(tst_DocumentReference)
#include "tst_documentreference.moc"
