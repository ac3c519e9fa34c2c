#include "fhir/documentreference.h"

#include <QtCore/QJsonArray>

namespace domain {

namespace {

template<typename Value>
QVector<Value> readObjects(const QJsonArray &array)
{
    QVector<Value> values;
    for (const QJsonValue &element : array) {
        if (!element.isObject())
            continue;
        Value value;
        fromJson(value, element.toObject());
        values.append(value);
    }
    return values;
}

QVector<DocumentReferenceContent> readContent(const QJsonValue &json)
{
    if (!json.isObject())
        return readObjects<DocumentReferenceContent>(json.toArray());
    DocumentReferenceContent content;
    fromJson(content, json.toObject());
    return {content};
}

} // namespace

void fromJson(DocumentReferenceContent &content, const QJsonObject &json)
{
    const QJsonValue attachmentJson = json.value(QLatin1String("attachment"));
    if (attachmentJson.isObject()) {
        Attachment attachment;
        fromJson(attachment, attachmentJson.toObject());
        content.attachment = attachment;
    }

    const QJsonValue formatJson = json.value(QLatin1String("format"));
    if (formatJson.isObject()) {
        Coding format;
        fromJson(format, formatJson.toObject());
        content.format = format;
    }
}

std::unique_ptr<Resource> DocumentReference::clone() const
{
    auto copy = std::make_unique<DocumentReference>();
    copy->setIdentifier(m_identifier);
    copy->setStatus(m_status);
    copy->setType(m_type);
    copy->setContent(m_content);
    copy->setImplicitRules(implicitRules());
    copy->setId(id());
    copy->setLanguage(language());
    copy->setMeta(meta());
    return copy;
}

void fromJson(DocumentReference &document, const QJsonObject &json)
{
    fromJson(static_cast<Resource &>(document), json);
    document.setIdentifier(
        readObjects<Identifier>(json.value(QLatin1String("identifier")).toArray()));
    document.setStatus(json.value(QLatin1String("status")).toString());

    const QJsonValue typeJson = json.value(QLatin1String("type"));
    if (typeJson.isObject()) {
        CodeableConcept type;
        fromJson(type, typeJson.toObject());
        document.setType(type);
    }

    document.setContent(readContent(json.value(QLatin1String("content"))));
}

} // namespace domain
