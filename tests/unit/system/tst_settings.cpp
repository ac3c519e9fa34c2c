#include "support/settingssandbox.h"
#include "system/settings.h"

#include <QtTest/QtTest>

using support::SettingsSandbox;

namespace {

const QString Key = QStringLiteral("group/key");

Settings settingsOf(quint32 mask)
{
    return {SettingsSandbox::organisation(), SettingsSandbox::application(), mask};
}

/// The four sources that have a bit, in the order in which they are read.
struct MaskedSource
{
    const char *name;
    quint32 bit;
    QString (SettingsSandbox::*file)() const;
};
const MaskedSource MaskedSources[] = {
    {"executable", 1, &SettingsSandbox::executableFile},
    {"system", 4, &SettingsSandbox::systemFile},
    {"configuration", 2, &SettingsSandbox::configurationFile},
    {"user", 8, &SettingsSandbox::userFile},
};

bool writeValue(const QString &file, const char *value)
{
    return SettingsSandbox::write(file, QByteArray("[group]\nkey=") + value + '\n');
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachMaskBitReadsItsSourceOnly_data();
    void eachMaskBitReadsItsSourceOnly();
    void laterSourceWins_data();
    void laterSourceWins();
    void namedFileWinsOverTheExecutablesDirectory();
    void namedFileIsReadWithAnEmptyMask();
    void namedFileInCapitalsIsIgnored();
    void namedFileWithoutExtensionIsIgnored();
    void emptyVariableNamesNoFile();
    void namedFileThatIsMissingAddsNothing();
    void defaultMaskReadsAllSources();
    void configurationDirectoryFollowsTheConfiguredPath();
    void userScopeDoesNotFallBackToOtherFiles();
    void systemScopeDoesNotFallBackToTheOrganisation();
    void absentKeyIsInvalidAndConvertsToNothing();
    void missingFilesAddNothing();
    void valueWithACommaIsAList();
    void keysOutsideGroupsHaveBareNames();
    void laterEditsAreNotSeen();
};

void TestSettings::eachMaskBitReadsItsSourceOnly_data()
{
    QTest::addColumn<int>("source");
    for (int i = 0; i < 4; ++i)
        QTest::newRow(MaskedSources[i].name) << i;
}

void TestSettings::eachMaskBitReadsItsSourceOnly()
{
    QFETCH(int, source);
    const SettingsSandbox sandbox;
    for (const MaskedSource &each : MaskedSources)
        QVERIFY(SettingsSandbox::write((sandbox.*each.file)(),
                                       QByteArray("[group]\n") + each.name + "=1\n"));
    const Settings settings = settingsOf(MaskedSources[source].bit);
    for (const MaskedSource &each : MaskedSources) {
        const QString key = QLatin1String("group/") + QLatin1String(each.name);
        QCOMPARE(settings.value(key).isValid(), each.bit == MaskedSources[source].bit);
    }
}

void TestSettings::laterSourceWins_data()
{
    QTest::addColumn<int>("earlier");
    QTest::addColumn<int>("later");
    for (int earlier = 0; earlier < 4; ++earlier) {
        for (int later = earlier + 1; later < 4; ++later)
            QTest::addRow("%s before %s", MaskedSources[earlier].name, MaskedSources[later].name)
                << earlier << later;
    }
}

void TestSettings::laterSourceWins()
{
    QFETCH(int, earlier);
    QFETCH(int, later);
    const SettingsSandbox sandbox;
    QVERIFY(writeValue((sandbox.*MaskedSources[earlier].file)(), "earlier"));
    QVERIFY(writeValue((sandbox.*MaskedSources[later].file)(), "later"));
    QCOMPARE(settingsOf(15).value(Key).toString(), QStringLiteral("later"));
}

void TestSettings::namedFileWinsOverTheExecutablesDirectory()
{
    const SettingsSandbox sandbox;
    QVERIFY(writeValue(sandbox.executableFile(), "executable"));
    QVERIFY(writeValue(sandbox.userFile(), "user"));
    QVERIFY(sandbox.writeNamed("[group]\nkey=named\n"));
    QCOMPARE(settingsOf(15).value(Key).toString(), QStringLiteral("named"));
}

void TestSettings::namedFileIsReadWithAnEmptyMask()
{
    const SettingsSandbox sandbox;
    for (const MaskedSource &each : MaskedSources)
        QVERIFY(SettingsSandbox::write((sandbox.*each.file)(), "[group]\nother=1\n"));
    QVERIFY(sandbox.writeNamed("[group]\nkey=named\n"));
    const Settings settings = settingsOf(0);
    QCOMPARE(settings.value(Key).toString(), QStringLiteral("named"));
    QVERIFY(!settings.value(QStringLiteral("group/other")).isValid());
}

void TestSettings::namedFileInCapitalsIsIgnored()
{
    const SettingsSandbox sandbox;
    QVERIFY(sandbox.writeNamed("[group]\nkey=named\n", "named.INI"));
    QVERIFY(!settingsOf(15).value(Key).isValid());
}

void TestSettings::namedFileWithoutExtensionIsIgnored()
{
    const SettingsSandbox sandbox;
    QVERIFY(sandbox.writeNamed("[group]\nkey=named\n", "named.conf"));
    QVERIFY(!settingsOf(15).value(Key).isValid());
}

void TestSettings::emptyVariableNamesNoFile()
{
    const SettingsSandbox sandbox;
    qputenv("BR_SETTINGS_INI_FILE", "");
    QVERIFY(writeValue(sandbox.userFile(), "user"));
    QCOMPARE(settingsOf(15).value(Key).toString(), QStringLiteral("user"));
}

void TestSettings::namedFileThatIsMissingAddsNothing()
{
    const SettingsSandbox sandbox;
    qputenv("BR_SETTINGS_INI_FILE", QFile::encodeName(sandbox.path("missing.ini")));
    QVERIFY(!settingsOf(15).value(Key).isValid());
    QVERIFY(!QFile::exists(sandbox.path("missing.ini")));
}

void TestSettings::defaultMaskReadsAllSources()
{
    const SettingsSandbox sandbox;
    for (const MaskedSource &each : MaskedSources)
        QVERIFY(SettingsSandbox::write((sandbox.*each.file)(),
                                       QByteArray("[group]\n") + each.name + "=1\n"));
    const Settings settings(SettingsSandbox::organisation(), SettingsSandbox::application());
    for (const MaskedSource &each : MaskedSources)
        QCOMPARE(settings.value(QLatin1String("group/") + QLatin1String(each.name)).toInt(), 1);
}

void TestSettings::configurationDirectoryFollowsTheConfiguredPath()
{
    const SettingsSandbox sandbox;
    QVERIFY(SettingsSandbox::write(sandbox.currentDirectoryFile(),
                                   "[ch.brenlo.system]\npath.configuration=elsewhere\n"));
    QVERIFY(writeValue(sandbox.configurationFile(), "default"));
    const QString configured = SettingsSandbox::application() + QLatin1String(".ini");
    QVERIFY(writeValue(sandbox.path("elsewhere") + QLatin1Char('/') + configured, "configured"));
    QCOMPARE(settingsOf(2).value(Key).toString(), QStringLiteral("configured"));
}

void TestSettings::userScopeDoesNotFallBackToOtherFiles()
{
    const SettingsSandbox sandbox;
    QVERIFY(writeValue(sandbox.systemFile(), "system"));
    QVERIFY(writeValue(sandbox.configurationFile(), "configuration"));
    QVERIFY(writeValue(sandbox.path("user/Organisation.ini"), "organisation"));
    QVERIFY(SettingsSandbox::write(sandbox.userFile(), "[group]\nother=1\n"));
    QVERIFY(!settingsOf(8).value(Key).isValid());
    QCOMPARE(settingsOf(15).value(Key).toString(), QStringLiteral("configuration"));
}

void TestSettings::systemScopeDoesNotFallBackToTheOrganisation()
{
    const SettingsSandbox sandbox;
    QVERIFY(writeValue(sandbox.path("system/Organisation.ini"), "organisation"));
    QVERIFY(SettingsSandbox::write(sandbox.systemFile(), "[group]\nother=1\n"));
    const Settings settings = settingsOf(4);
    QVERIFY(!settings.value(Key).isValid());
    QVERIFY(settings.value(QStringLiteral("group/other")).isValid());
}

void TestSettings::absentKeyIsInvalidAndConvertsToNothing()
{
    const SettingsSandbox sandbox;
    const QVariant absent = settingsOf(15).value(Key);
    QVERIFY(!absent.isValid());
    QCOMPARE(absent.toBool(), false);
    QCOMPARE(absent.toInt(), 0);
    QCOMPARE(absent.toString(), QString());
}

void TestSettings::missingFilesAddNothing()
{
    const SettingsSandbox sandbox;
    QVERIFY(writeValue(sandbox.userFile(), "user"));
    QCOMPARE(settingsOf(15).value(Key).toString(), QStringLiteral("user"));
    QVERIFY(!settingsOf(7).value(Key).isValid());
    for (const MaskedSource &each : MaskedSources)
        QCOMPARE(QFile::exists((sandbox.*each.file)()), each.bit == 8);
}

void TestSettings::valueWithACommaIsAList()
{
    const SettingsSandbox sandbox;
    QVERIFY(sandbox.writeNamed("[group]\nkey=5,6\n"));
    const QVariant value = settingsOf(0).value(Key);
    QCOMPARE(value.toStringList(), (QStringList{QStringLiteral("5"), QStringLiteral("6")}));
    QCOMPARE(value.toString(), QString());
}

void TestSettings::keysOutsideGroupsHaveBareNames()
{
    const SettingsSandbox sandbox;
    QVERIFY(sandbox.writeNamed("bare=1\n[group]\nsub\\key=2\n"));
    const Settings settings = settingsOf(0);
    QCOMPARE(settings.value(QStringLiteral("bare")).toInt(), 1);
    QCOMPARE(settings.value(QStringLiteral("group/sub/key")).toInt(), 2);
}

void TestSettings::laterEditsAreNotSeen()
{
    const SettingsSandbox sandbox;
    QVERIFY(sandbox.writeNamed("[group]\nkey=before\n"));
    const Settings settings = settingsOf(0);
    QVERIFY(sandbox.writeNamed("[group]\nkey=afterwards\n"));
    QCOMPARE(settings.value(Key).toString(), QStringLiteral("before"));
    QCOMPARE(settingsOf(0).value(Key).toString(), QStringLiteral("afterwards"));
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
