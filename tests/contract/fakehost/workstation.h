#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSettings>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

namespace fakehost {

/// Where this process finds its settings: folders of its own, empty at the start of each test.
/// Made in main(), before Qt looks for any.
class Workstation
{
public:
    Workstation()
    {
        // A site's folder before the system's: on Linux a value is looked for in all of them.
        qputenv("XDG_CONFIG_DIRS",
                QFile::encodeName(path(QStringLiteral("site")) + QLatin1Char(':') +
                                  path(QStringLiteral("system"))));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("user"))));
#ifdef Q_OS_WIN // where no environment variable moves these folders
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope,
                           path(QStringLiteral("system")));
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                           path(QStringLiteral("user")));
#endif
        current() = this;
    }

    ~Workstation()
    {
        current() = nullptr;
    }
    Workstation(const Workstation &) = delete;
    Workstation &operator=(const Workstation &) = delete;

    static Workstation *&current()
    {
        static Workstation *workstation = nullptr;
        return workstation;
    }

    QString path(const QString &name) const
    {
        return m_folder.filePath(name);
    }

    void writeSiteSettings(const QByteArray &ini)
    {
        write(QStringLiteral("site/Brenlo/kavo-service.ini"), ini);
    }

    void writeSystemSettings(const QByteArray &ini)
    {
        write(QStringLiteral("system/Brenlo/kavo-service.ini"), ini);
    }

    void writeUserSettings(const QByteArray &ini)
    {
        write(QStringLiteral("user/Brenlo/kavo-service.ini"), ini);
    }

    void write(const QString &name, const QByteArray &content)
    {
        QFile file(path(name));
        if (!QFileInfo(file).dir().mkpath(QStringLiteral(".")) || !file.open(QFile::WriteOnly) ||
            file.write(content) != content.size())
            qFatal("Cannot write %s", qPrintable(file.fileName()));
    }

    void clear()
    {
        qunsetenv("BR_SETTINGS_INI_FILE");
        for (const char *name : {"site", "system", "user"})
            QDir(path(QString::fromLatin1(name))).removeRecursively();
    }

private:
    QTemporaryDir m_folder;
};

template<typename Test>
int run(int argc, char **argv)
{
    Workstation workstation;
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Brenlo"));
    QCoreApplication::setApplicationName(QStringLiteral("kavo-service"));
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace fakehost

#define FAKEHOST_MAIN(Test)                                                                        \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        return fakehost::run<Test>(argc, argv);                                                    \
    }
