// Where the loaded plug-in finds its settings, shown by what it says and does.
#include "fakehost.h"
#include "support/logcapture.h"
#include "support/recordingpublisher.h"

#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <plugin/chunkupdatelistener.h>

using fakehost::contextSetting;
using fakehost::Plugin;
using fakehost::Workstation;
using support::LogCapture;
using support::LogLine;

namespace {

const QByteArray cardDocument = "<vk-adm:insuredPersonNumber>456</vk-adm:insuredPersonNumber>";

/// What a plug-in logs about its time to live, from initialize to its end, debug lines included.
QVector<LogLine> linesOfInitialize()
{
    const LogCapture log;
    Plugin plugin;
    plugin->initialize();
    plugin.destroy();
    return log.lines();
}

QVector<LogLine> collectorLine(int period)
{
    return {{QtInfoMsg, QStringLiteral("ch.brenlo.kavo-service.context.contextservice"),
             QStringLiteral("Starting the context garbage collector, runs every  %1 miliseconds.")
                 .arg(period)}};
}

void deliverCard(const Plugin &plugin)
{
    support::RecordingPublisher host;
    plugin->attachHost(&host);
    host.listeners().at(0)->chunkUpdate(
        QJsonObject{{QStringLiteral("source"), QStringLiteral("Kavo")},
                    {QStringLiteral("data"), QString::fromLatin1(cardDocument)}});
    plugin->detachHost();
}

} // namespace

class tst_Settings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Workstation::current()->clear(); }
    void withoutSettingsNothingIsSaid();
    void timeToLiveOfTheSystemSettingsIsSaidAtInitialize();
    void earlierSystemFolderOverridesALaterOne();
    void userSettingsOverrideSystemSettings();
    void namedFileOverridesUserSettings();
    void namedFileWithItsExtensionInCapitalsIsIgnored();
    void timeToLiveThatIsNoNumberStartsNothing();
    void settingsAreReadAtInitialize();
    void settingsThatChangeLaterCountAtTheNextInitialize();
    void xmlDirectoryOfTheSystemSettingsTurnsTheCardExportOn();
    void xmlDirectoryElsewhereDoesNot_data();
    void xmlDirectoryElsewhereDoesNot();
    void xmlDirectoryThatComesLaterDoesNot();

private:
    Workstation &workstation() const { return *Workstation::current(); }

    QByteArray xmlDirectorySetting() const
    {
        return contextSetting("xml.directory=" + QFile::encodeName(m_cards.path()));
    }
    QString cardFile() const { return m_cards.filePath(QStringLiteral("adm_456.xml")); }

    QTemporaryDir m_cards;
};

void tst_Settings::withoutSettingsNothingIsSaid()
{
    QCOMPARE(linesOfInitialize(), QVector<LogLine>());
}

void tst_Settings::timeToLiveOfTheSystemSettingsIsSaidAtInitialize()
{
    workstation().writeSystemSettings(contextSetting("ttl=2"));
    QCOMPARE(linesOfInitialize(), collectorLine(120000));
}

void tst_Settings::earlierSystemFolderOverridesALaterOne()
{
#ifdef Q_OS_WIN
    QSKIP("Windows has one folder of settings for all users");
#endif
    workstation().writeSystemSettings(contextSetting("ttl=2"));
    workstation().writeSiteSettings(contextSetting("xml.directory=cards"));
    QCOMPARE(linesOfInitialize(), collectorLine(120000));
    workstation().writeSiteSettings(contextSetting("ttl=5"));
    QCOMPARE(linesOfInitialize(), collectorLine(300000));
}

void tst_Settings::userSettingsOverrideSystemSettings()
{
    workstation().writeSystemSettings(contextSetting("ttl=2"));
    workstation().writeUserSettings(contextSetting("ttl=3"));
    QCOMPARE(linesOfInitialize(), collectorLine(180000));
}

void tst_Settings::namedFileOverridesUserSettings()
{
    workstation().writeUserSettings(contextSetting("ttl=3"));
    workstation().write(QStringLiteral("named.ini"), contextSetting("ttl=4"));
    qputenv("BR_SETTINGS_INI_FILE",
            QFile::encodeName(workstation().path(QStringLiteral("named.ini"))));
    QCOMPARE(linesOfInitialize(), collectorLine(240000));
}

void tst_Settings::namedFileWithItsExtensionInCapitalsIsIgnored()
{
    workstation().write(QStringLiteral("named.INI"), contextSetting("ttl=4"));
    qputenv("BR_SETTINGS_INI_FILE",
            QFile::encodeName(workstation().path(QStringLiteral("named.INI"))));
    QCOMPARE(linesOfInitialize(), QVector<LogLine>());
}

void tst_Settings::timeToLiveThatIsNoNumberStartsNothing()
{
    workstation().writeSystemSettings(contextSetting("ttl=soon"));
    QCOMPARE(linesOfInitialize(), QVector<LogLine>());
}

void tst_Settings::settingsAreReadAtInitialize()
{
    const LogCapture log;
    const Plugin plugin; // made before the settings are there
    workstation().writeSystemSettings(contextSetting("ttl=1"));
    plugin->initialize();
    QCOMPARE(log.lines(), collectorLine(60000));
}

void tst_Settings::settingsThatChangeLaterCountAtTheNextInitialize()
{
    workstation().writeSystemSettings(contextSetting("ttl=1"));
    const LogCapture log;
    const Plugin plugin;
    plugin->initialize();
    workstation().writeSystemSettings(contextSetting("ttl=2\ndefaultValues=true"));
    support::RecordingPublisher host;
    plugin->attachHost(&host);
    host.listeners().at(0)->chunkUpdate(QJsonObject());
    plugin->detachHost();
    QVERIFY(plugin.object()->findChildren<QTimer *>().isEmpty());
    QCOMPARE(log.lines(), collectorLine(60000));

    plugin->initialize();
    QCOMPARE(plugin.object()->findChildren<QTimer *>().size(), 1);
    QCOMPARE(log.lines(), collectorLine(60000) + collectorLine(120000));
}

void tst_Settings::xmlDirectoryOfTheSystemSettingsTurnsTheCardExportOn()
{
    workstation().writeSystemSettings(xmlDirectorySetting());
    const Plugin plugin;
    plugin->initialize();
    deliverCard(plugin);
    QFile file(cardFile());
    QVERIFY(file.open(QFile::ReadOnly));
    QCOMPARE(file.readAll(), cardDocument);
    QVERIFY(file.remove());
}

void tst_Settings::xmlDirectoryElsewhereDoesNot_data()
{
    QTest::addColumn<bool>("named");
    QTest::newRow("user settings") << false;
    QTest::newRow("named file") << true;
}

void tst_Settings::xmlDirectoryElsewhereDoesNot()
{
    QFETCH(bool, named);
    if (named) {
        workstation().write(QStringLiteral("named.ini"), xmlDirectorySetting());
        qputenv("BR_SETTINGS_INI_FILE",
                QFile::encodeName(workstation().path(QStringLiteral("named.ini"))));
    } else {
        workstation().writeUserSettings(xmlDirectorySetting());
    }
    const Plugin plugin;
    plugin->initialize();
    deliverCard(plugin);
    QVERIFY(!QFile::exists(cardFile()));
}

void tst_Settings::xmlDirectoryThatComesLaterDoesNot()
{
    const Plugin plugin;
    plugin->initialize();
    workstation().writeSystemSettings(xmlDirectorySetting());
    deliverCard(plugin);
    QVERIFY(!QFile::exists(cardFile()));
}

FAKEHOST_MAIN(tst_Settings)
#include "tst_settings.moc"
