// The FHIR readers on any JSON, and what must hold of everything they read: reading never fails,
// a copy equals its original, and a coding survives being written.

#include "common/parsejson.h"
#include "fhir/documentreference.h"

#include <QtCore/QLoggingCategory>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char *what)
{
    if (condition)
        return;
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
}

void checkCoding(const domain::Coding &coding)
{
    const QJsonObject json = coding.toJson();
    domain::Coding again;
    fromJson(again, json);
    require(again.toJson() == json, "a written coding reads back the same");
}

void checkCopy(const domain::DocumentReference &document)
{
    const auto owner = document.clone();
    const auto *copy = dynamic_cast<const domain::DocumentReference *>(owner.get());
    require(copy, "a cloned document reference is one");
    require(copy->resourceTypeCode() == 3, "it has the type code 3");
    require(copy->id() == document.id() && copy->status() == document.status() &&
                copy->language() == document.language() &&
                copy->implicitRules() == document.implicitRules(),
            "it has the texts");
    require(copy->meta().tag.size() == document.meta().tag.size() &&
                copy->meta().security.size() == document.meta().security.size() &&
                copy->identifier().size() == document.identifier().size() &&
                copy->content().size() == document.content().size(),
            "it has the lists");
    for (int i = 0; i < document.content().size(); ++i) {
        const domain::Attachment &attachment = document.content().at(i).attachment;
        require(copy->content().at(i).attachment.data == attachment.data &&
                    copy->content().at(i).attachment.url == attachment.url,
                "it has the attachments");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const bool quiet = [] {
        QLoggingCategory::setFilterRules(QStringLiteral("*.warning=false"));
        return true;
    }();
    Q_UNUSED(quiet)

    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QJsonObject object = common::parseJson(text).object(); // empty when it is none

    domain::DocumentReference document;
    fromJson(document, object);
    checkCopy(document);
    checkCoding(document.type().coding);
    for (const domain::DocumentReferenceContent &content : document.content())
        checkCoding(content.format);
    for (const domain::Coding &coding : document.meta().security)
        checkCoding(coding);

    const int tags = document.meta().tag.size();
    const QString id = document.id();
    fromJson(document, object);
    require(document.meta().tag.size() == 2 * tags, "reading again adds the labels");
    require(document.id() == id, "and reads the same id");

    domain::Resource resource;
    fromJson(resource, object);
    require(resource.clone()->id() == id, "a resource reads the same id and keeps it in its copy");
    return 0;
}
