#include "chunk/carddocument.h"

#include "system/systemsettingsfiles.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QSettings>
#include <QtCore/QStringList>

const QString &vkAdmSource()
{
    static const QString source = QStringLiteral("Kavo");
    return source;
}

QString cardDocument(const QJsonValue &chunk, const QString &source)
{
    const QJsonObject card = chunk.toObject();
    if (card.value(QLatin1String("source")) != QJsonValue(source))
        return {};
    return card.value(QLatin1String("data")).toString();
}

QRegularExpression insuredPersonNumberPattern()
{
    return QRegularExpression(
        QStringLiteral("<vk-adm:insuredPersonNumber>([0-9]+)</vk-adm:insuredPersonNumber>"));
}

std::optional<QDir> configuredXmlDirectory()
{
    const QString key = QStringLiteral("ch.brenlo.kavo-service.context/xml.directory");
    const QStringList files = systemSettingsFiles(QCoreApplication::organizationName(),
                                                  QCoreApplication::applicationName());
    for (const QString &file : files) {
        const QSettings settings(file, QSettings::IniFormat);
        if (settings.contains(key))
            return QDir(settings.value(key).toString());
    }
    return std::nullopt;
}
