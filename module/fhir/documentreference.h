#pragma once

#include "fhir/attachment.h"
#include "fhir/codeableconcept.h"
#include "fhir/coding.h"
#include "fhir/identifier.h"
#include "fhir/resource.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <memory>

namespace domain {

/// One document of a FHIR STU3 `DocumentReference` ("content"): where it is and its format.
struct DocumentReferenceContent
{
    Attachment attachment;
    Coding format;
};

/// Each member is replaced only by an object.
void fromJson(DocumentReferenceContent &content, const QJsonObject &json);

/// FHIR STU3 `DocumentReference`: a document attached to a context. Departs from the standard: only
/// the members below are modelled, `type` holds one coding, and "content" may be a single object.
class DocumentReference final : public Resource
{
public:
    static constexpr qint32 TypeCode = 3;

    DocumentReference()
        : Resource(TypeCode)
    {
    }

    std::unique_ptr<Resource> clone() const override;

    const QVector<Identifier> &identifier() const { return m_identifier; }
    void setIdentifier(const QVector<Identifier> &identifier) { m_identifier = identifier; }

    /// The FHIR document status as it was written, unchecked.
    const QString &status() const { return m_status; }
    void setStatus(const QString &status) { m_status = status; }

    const CodeableConcept &type() const { return m_type; }
    void setType(const CodeableConcept &type) { m_type = type; }

    const QVector<DocumentReferenceContent> &content() const { return m_content; }
    void setContent(const QVector<DocumentReferenceContent> &content) { m_content = content; }

private:
    QVector<Identifier> m_identifier;
    QString m_status;
    CodeableConcept m_type;
    QVector<DocumentReferenceContent> m_content;
};

/// Reads one entry of a context's "attachments". "content" is the single object that this system
/// writes or the standard's array; both are kept because entries come from both sides. Elements
/// that are no objects are skipped. A "type" that is no object leaves the type as it was.
void fromJson(DocumentReference &document, const QJsonObject &json);

} // namespace domain
