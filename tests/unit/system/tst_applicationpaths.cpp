#include "support/logcapture.h"
#include "support/settingssandbox.h"
#include "system/applicationpaths.h"

#include <QtTest/QtTest>

#include <stdexcept>

using support::SettingsSandbox;

namespace {

const QString Category = QStringLiteral("ch.brenlo.system.applicationpaths");
const QString Warning = QStringLiteral("Configured path for location does not exist.");

QDir lookUp(int scope, int location)
{
    return applicationPath(static_cast<ApplicationPathScope>(scope),
                           static_cast<ApplicationPathLocation>(location));
}

QString folderOfApplication()
{
    return QLatin1String("/Organisation/") + SettingsSandbox::application() + QLatin1Char('/');
}

QByteArray errorOf(int scope, int location)
{
    try {
        lookUp(scope, location);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "nothing was thrown";
}

bool configure(const SettingsSandbox &sandbox, const char *key, const QByteArray &value)
{
    return SettingsSandbox::write(sandbox.currentDirectoryFile(),
                                  QByteArray("[ch.brenlo.system]\n") + key + '=' + value + '\n');
}

const char *const Keys[] = {"path.configuration", "path.logging", "path.runtime", "path.update"};
const char *const Folders[] = {"configuration", "logging", "runtime", "update"};

} // namespace

class TestApplicationPaths : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbersAreFixed();
    void defaultFolder_data();
    void defaultFolder();
    void defaultFolderIsNotCreated();
    void unsetProfileVariableReadsAsEmptyText();
    void configuredPath_data() { locations(); }
    void configuredPath();
    void configuredPathIsReturnedAfterAWarningWhenMissing_data() { locations(); }
    void configuredPathIsReturnedAfterAWarningWhenMissing();
    void configuredPathThatIsAFileIsReturnedAfterAWarning();
    void emptyConfiguredPathMeansDefault();
    void configuredPathWithACommaMeansDefault();
    void unknownLocationThrows_data();
    void unknownLocationThrows();
    void unknownScopeThrows();
    void unknownScopeWithConfiguredPathIsServed();
    void unknownLocationIsReportedBeforeUnknownScope();

private:
    static void locations();
};

void TestApplicationPaths::locations()
{
    QTest::addColumn<int>("location");
    for (int location = 0; location < 4; ++location)
        QTest::newRow(Folders[location]) << location;
}

void TestApplicationPaths::numbersAreFixed()
{
    QCOMPARE(static_cast<int>(ApplicationPathScope::User), 0);
    QCOMPARE(static_cast<int>(ApplicationPathScope::System), 1);
    QCOMPARE(static_cast<int>(ApplicationPathLocation::Configuration), 0);
    QCOMPARE(static_cast<int>(ApplicationPathLocation::Logging), 1);
    QCOMPARE(static_cast<int>(ApplicationPathLocation::Runtime), 2);
    QCOMPARE(static_cast<int>(ApplicationPathLocation::Update), 3);
}

void TestApplicationPaths::defaultFolder_data()
{
    QTest::addColumn<int>("scope");
    QTest::addColumn<int>("location");
    for (int location = 0; location < 4; ++location) {
        QTest::addRow("user, %s", Folders[location]) << 0 << location;
        QTest::addRow("all users, %s", Folders[location]) << 1 << location;
    }
}

void TestApplicationPaths::defaultFolder()
{
    QFETCH(int, scope);
    QFETCH(int, location);
    const SettingsSandbox sandbox;
    support::LogCapture log;
    const QString profile = sandbox.path(scope == 0 ? "roaming" : "all-users");
    QCOMPARE(lookUp(scope, location).path(),
             profile + folderOfApplication() + QLatin1String(Folders[location]));
    QVERIFY(log.lines(Category).isEmpty());
}

void TestApplicationPaths::defaultFolderIsNotCreated()
{
    const SettingsSandbox sandbox;
    QVERIFY(!lookUp(1, 0).exists());
    QVERIFY(!QFile::exists(sandbox.path("all-users")));
}

void TestApplicationPaths::unsetProfileVariableReadsAsEmptyText()
{
    const SettingsSandbox sandbox;
    qunsetenv("APPDATA");
    qunsetenv("ALLUSERSPROFILE");
    QCOMPARE(lookUp(0, 1).path(), folderOfApplication() + QLatin1String("logging"));
    QCOMPARE(lookUp(1, 3).path(), folderOfApplication() + QLatin1String("update"));
}

void TestApplicationPaths::configuredPath()
{
    QFETCH(int, location);
    const SettingsSandbox sandbox;
    const QString directory = sandbox.path("configured");
    QVERIFY(QDir().mkpath(directory));
    QVERIFY(configure(sandbox, Keys[location], directory.toUtf8()));
    support::LogCapture log;
    QCOMPARE(lookUp(0, location).path(), directory);
    QCOMPARE(lookUp(1, location).path(), directory);
    QVERIFY(log.lines(Category).isEmpty());
    const int other = (location + 1) % 4;
    QVERIFY(lookUp(1, other).path().endsWith(QLatin1String(Folders[other])));
}

void TestApplicationPaths::configuredPathIsReturnedAfterAWarningWhenMissing()
{
    QFETCH(int, location);
    const SettingsSandbox sandbox;
    const QString directory = sandbox.path("missing");
    QVERIFY(configure(sandbox, Keys[location], directory.toUtf8()));
    support::LogCapture log;
    QCOMPARE(lookUp(1, location).path(), directory);
    QCOMPARE(log.lines(Category), (QVector<support::LogLine>{{QtWarningMsg, Category, Warning}}));
    QVERIFY(!QFile::exists(directory));
}

void TestApplicationPaths::configuredPathThatIsAFileIsReturnedAfterAWarning()
{
    const SettingsSandbox sandbox;
    const QString file = sandbox.path("file");
    QVERIFY(SettingsSandbox::write(file, "no directory"));
    QVERIFY(configure(sandbox, "path.logging", file.toUtf8()));
    support::LogCapture log;
    QCOMPARE(lookUp(0, 1).path(), file);
    QCOMPARE(log.lines(Category), (QVector<support::LogLine>{{QtWarningMsg, Category, Warning}}));
}

void TestApplicationPaths::emptyConfiguredPathMeansDefault()
{
    const SettingsSandbox sandbox;
    QVERIFY(configure(sandbox, "path.runtime", ""));
    support::LogCapture log;
    QCOMPARE(lookUp(1, 2).dirName(), QStringLiteral("runtime"));
    QVERIFY(log.lines(Category).isEmpty());
}

void TestApplicationPaths::configuredPathWithACommaMeansDefault()
{
    const SettingsSandbox sandbox;
    QVERIFY(configure(sandbox, "path.runtime", "one,two"));
    QCOMPARE(lookUp(1, 2).dirName(), QStringLiteral("runtime"));
}

void TestApplicationPaths::unknownLocationThrows_data()
{
    QTest::addColumn<int>("location");
    QTest::newRow("beyond the last") << 4;
    QTest::newRow("before the first") << -1;
}

void TestApplicationPaths::unknownLocationThrows()
{
    QFETCH(int, location);
    const SettingsSandbox sandbox;
    QCOMPARE(errorOf(1, location),
             QByteArray("Invalid location has been given while requesting an application's path."));
}

void TestApplicationPaths::unknownScopeThrows()
{
    const SettingsSandbox sandbox;
    const QByteArray text = "Invalid scope has been given while requesting an application's path.";
    QCOMPARE(errorOf(2, 0), text);
    QCOMPARE(errorOf(-1, 3), text);
}

void TestApplicationPaths::unknownScopeWithConfiguredPathIsServed()
{
    const SettingsSandbox sandbox;
    QVERIFY(configure(sandbox, "path.update", sandbox.path("").toUtf8()));
    QCOMPARE(lookUp(2, 3), QDir(sandbox.path("")));
}

void TestApplicationPaths::unknownLocationIsReportedBeforeUnknownScope()
{
    const SettingsSandbox sandbox;
    QVERIFY(errorOf(2, 4).startsWith("Invalid location"));
}

QTEST_GUILESS_MAIN(TestApplicationPaths)
#include "tst_applicationpaths.moc"
