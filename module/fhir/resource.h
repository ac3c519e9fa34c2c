#pragma once

#include "fhir/meta.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <memory>

namespace domain {

/// FHIR STU3 `Resource`: what all resources have. Lives on the heap or in a local; whoever creates
/// or clones a resource owns it. The type code is this system's own number for the kind of
/// resource and does not appear in JSON.
class Resource
{
public:
    static constexpr qint32 TypeCode = 12;

    Resource() = default;
    Resource(const Resource &) = delete; // a copy through the base would lose the derived fields
    Resource &operator=(const Resource &) = delete;
    virtual ~Resource() = default;

    /// A copy of the resource. A derived class that does not override this is copied as a plain
    /// Resource with its type code, and a warning is logged.
    virtual std::unique_ptr<Resource> clone() const;

    qint32 resourceTypeCode() const { return m_resourceTypeCode; }
    void setResourceTypeCode(qint32 code) { m_resourceTypeCode = code; }

    const QString &id() const { return m_id; }
    void setId(const QString &id) { m_id = id; }

    const Meta &meta() const { return m_meta; }
    void setMeta(const Meta &meta) { m_meta = meta; }

    const QString &implicitRules() const { return m_implicitRules; }
    void setImplicitRules(const QString &implicitRules) { m_implicitRules = implicitRules; }

    const QString &language() const { return m_language; }
    void setLanguage(const QString &language) { m_language = language; }

protected:
    explicit Resource(qint32 typeCode)
        : m_resourceTypeCode(typeCode)
    {
    }

private:
    qint32 m_resourceTypeCode = TypeCode;
    QString m_id;
    Meta m_meta;
    QString m_implicitRules;
    QString m_language;
};

/// Reads the members that all resources have. The texts are replaced in any case; "meta" is read
/// over the present meta, whose labels stay.
void fromJson(Resource &resource, const QJsonObject &json);

} // namespace domain
