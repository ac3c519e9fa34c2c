#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSettings>
#include <QtCore/QTemporaryDir>

/// A workstation's system-wide settings in a folder of the test's own: the INI file of an
/// application under a name that no other run uses, because QSettings keeps what it has read. Lives
/// in a test function, one at a time.
class SystemSettings
{
public:
    SystemSettings()
    {
        static int runs = 0;
        QCoreApplication::setOrganizationName(QStringLiteral("Kavo tests"));
        QCoreApplication::setApplicationName(QStringLiteral("cards-%1").arg(++runs));
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, m_directory.path());
    }

    /// Replaces the whole file.
    void write(const QByteArray &ini) const
    {
        const QString path =
            QSettings(QSettings::IniFormat, QSettings::SystemScope,
                      QCoreApplication::organizationName(), QCoreApplication::applicationName())
                .fileName();
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(ini) != ini.size())
            qFatal("cannot write %s", qPrintable(path));
    }

    void writeXmlDirectory(const QString &directory) const
    {
        write("[ch.brenlo.kavo-service.context]\nxml.directory=" + directory.toUtf8() + "\n");
    }

    QString path(const QString &name) const { return m_directory.filePath(name); }

    /// A new folder to write documents to.
    QString makeDirectory(const QString &name) const
    {
        QDir(m_directory.path()).mkpath(name);
        return path(name);
    }

private:
    QTemporaryDir m_directory;
};
