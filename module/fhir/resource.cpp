#include "fhir/resource.h"

#include <QtCore/QLoggingCategory>

namespace domain {

namespace {

Q_LOGGING_CATEGORY(resourceLog, "ch.brenlo.kavo-service.fhir.stu3.resource")

} // namespace

std::unique_ptr<Resource> Resource::clone() const
{
    // A plain Resource logs it too: the warning looks at what is copied, not at who asks.
    qCWarning(resourceLog)
        << "Only Resource is copied. Maybe you want to override clone in your derived class.";
    auto copy = std::make_unique<Resource>();
    copy->setResourceTypeCode(m_resourceTypeCode);
    copy->setId(m_id);
    copy->setMeta(m_meta);
    copy->setImplicitRules(m_implicitRules);
    copy->setLanguage(m_language);
    return copy;
}

void fromJson(Resource &resource, const QJsonObject &json)
{
    resource.setId(json.value(QLatin1String("id")).toString());

    Meta meta = resource.meta();
    fromJson(meta, json.value(QLatin1String("meta")).toObject());
    resource.setMeta(meta);

    resource.setImplicitRules(json.value(QLatin1String("implicitRules")).toString());
    resource.setLanguage(json.value(QLatin1String("language")).toString());
}

} // namespace domain
