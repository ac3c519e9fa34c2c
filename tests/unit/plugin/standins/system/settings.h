#pragma once

#include "journal.h"

#include <QtCore/QMap>
#include <QtCore/QVariant>

class Settings
{
public:
    enum Source : quint32 { AllSources = 15 };

    Settings(const QString &organisation, const QString &application, quint32 mask)
    {
        journal().append(
            QStringLiteral("Settings %1 %2 %3").arg(organisation, application).arg(mask));
    }

    QVariant value(const QString &key) const { return stored().value(key); }

    static QMap<QString, QVariant> &stored()
    {
        static QMap<QString, QVariant> values;
        return values;
    }
};
