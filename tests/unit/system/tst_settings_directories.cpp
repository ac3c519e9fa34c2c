#include "support/settingssandbox.h"
#include "system/settings.h"
#include "system/systemsettingsfiles.h"

#include <QtTest/QtTest>

/// A program of its own, because QSettings::setPath, which other tests call, cannot be taken back.
class TestSettingsDirectories : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void earlierSystemDirectoryWinsKeyByKey();
    void systemDirectoryWithoutAFileHidesNoOther();
    void organisationsFilesDoNotCountInAnyDirectory();
    void usersDirectoryIsNoSystemDirectory();
    void everySystemDirectoryIsOverriddenByTheUser();
    void listIsEtcXdgByDefault();
    void pathThatTheHostHasSetIsTheOnlyOne();

private:
    QString path(const char *name) const { return m_directory->filePath(QString::fromUtf8(name)); }
    QString file(const char *directory) const
    {
        return path(directory) + QLatin1String("/organisation/application.ini");
    }
    static QString read(const char *key, quint32 mask = Settings::SystemScope)
    {
        const Settings settings(QStringLiteral("organisation"), QStringLiteral("application"),
                                mask);
        return settings.value(QLatin1String("group/") + QLatin1String(key)).toString();
    }
    static QStringList files()
    {
        return systemSettingsFiles(QStringLiteral("organisation"), QStringLiteral("application"));
    }

    /// Of which Qt looks up the name but once.
    QString usersFile() const
    {
        return m_home.filePath(QStringLiteral("organisation/application.ini"));
    }

    QTemporaryDir m_home;
    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestSettingsDirectories::initTestCase()
{
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.path()));
}

void TestSettingsDirectories::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    const QStringList list{path("first"), path("second"), path("third")};
    qputenv("XDG_CONFIG_DIRS", QFile::encodeName(list.join(QLatin1Char(':'))));
    QFile::remove(usersFile());
    qunsetenv("BR_SETTINGS_INI_FILE");
}

void TestSettingsDirectories::earlierSystemDirectoryWinsKeyByKey()
{
    using support::SettingsSandbox;
    QVERIFY(SettingsSandbox::write(file("first"), "[group]\na=1\n"));
    QVERIFY(SettingsSandbox::write(file("second"), "[group]\na=2\nb=2\n"));
    QVERIFY(SettingsSandbox::write(file("third"), "[group]\na=3\nb=3\nc=3\n"));
    QCOMPARE(files(), (QStringList{file("first"), file("second"), file("third")}));
    QCOMPARE(read("a"), QStringLiteral("1"));
    QCOMPARE(read("b"), QStringLiteral("2"));
    QCOMPARE(read("c"), QStringLiteral("3"));
}

void TestSettingsDirectories::systemDirectoryWithoutAFileHidesNoOther()
{
    // As desktops have it: a folder of their own, mostly empty, before the administrator's.
    QVERIFY(support::SettingsSandbox::write(file("second"), "[group]\na=2\n"));
    QCOMPARE(read("a"), QStringLiteral("2"));
    QVERIFY(!QFile::exists(path("first")));
}

void TestSettingsDirectories::organisationsFilesDoNotCountInAnyDirectory()
{
    using support::SettingsSandbox;
    QVERIFY(SettingsSandbox::write(path("first/organisation.ini"), "[group]\na=1\n"));
    QVERIFY(SettingsSandbox::write(path("second/organisation.ini"), "[group]\na=2\n"));
    QVERIFY(SettingsSandbox::write(file("second"), "[group]\nb=2\n"));
    QCOMPARE(read("a"), QString());
    QCOMPARE(read("b"), QStringLiteral("2"));
}

void TestSettingsDirectories::usersDirectoryIsNoSystemDirectory()
{
    QVERIFY(support::SettingsSandbox::write(usersFile(), "[group]\na=0\n"));
    QCOMPARE(read("a"), QString());
    QVERIFY(!files().contains(usersFile()));
}

void TestSettingsDirectories::everySystemDirectoryIsOverriddenByTheUser()
{
    QVERIFY(support::SettingsSandbox::write(usersFile(), "[group]\na=0\n"));
    QVERIFY(support::SettingsSandbox::write(file("third"), "[group]\na=3\nb=3\n"));
    QCOMPARE(read("a", Settings::AllSources), QStringLiteral("0"));
    QCOMPARE(read("b", Settings::AllSources), QStringLiteral("3"));
}

void TestSettingsDirectories::listIsEtcXdgByDefault()
{
    qunsetenv("XDG_CONFIG_DIRS");
    QCOMPARE(files(), QStringList{QStringLiteral("/etc/xdg/organisation/application.ini")});
}

/// The last, because the path stays set.
void TestSettingsDirectories::pathThatTheHostHasSetIsTheOnlyOne()
{
    QVERIFY(support::SettingsSandbox::write(file("second"), "[group]\na=2\n"));
    QVERIFY(support::SettingsSandbox::write(file("elsewhere"), "[group]\nb=4\n"));
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, path("elsewhere"));
    QCOMPARE(files(), QStringList{file("elsewhere")});
    QCOMPARE(read("a"), QString());
    QCOMPARE(read("b"), QStringLiteral("4"));
}

QTEST_GUILESS_MAIN(TestSettingsDirectories)
#include "tst_settings_directories.moc"
