#include "support/deadline.h"
#include "support/eventstream.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtTest/QTest>

using namespace support;

namespace {

const char group[] = "[ch.brenlo.kavo-service.context]\n";

QByteArray collectorLine(const QByteArray &period)
{
    return "Starting the context garbage collector, runs every  " + period + " miliseconds.";
}

QByteArray cardChunk(const QByteArray &source, const QByteArray &xml)
{
    return "{\"source\":\"" + source + "\",\"data\":\"" + xml + "\"}";
}

} // namespace

/// The settings files through the program: which of them count, and what they switch on.
class ServiceSettingsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ttlStartsTheCollector_data();
    void ttlStartsTheCollector();
    void namedFileWithAnotherEndingIsIgnored();
    void withoutTtlThereIsNoCollector();

    void defaultValuesMakeTheEmptyContextAfterFiveSeconds();
    void withoutDefaultValuesThereIsNoEmptyContext();

    void cardsAreWrittenToTheConfiguredFolder();
    void cardsAreNotWrittenForAUsersSetting();
};

void ServiceSettingsTest::ttlStartsTheCollector_data()
{
    QTest::addColumn<QByteArray>("systemFile");
    QTest::addColumn<QByteArray>("userFile");
    QTest::addColumn<QByteArray>("namedFile");
    QTest::addColumn<QByteArray>("period");
    const QByteArray two = QByteArray(group) + "ttl=2\n";
    const QByteArray three = QByteArray(group) + "ttl=3\n";
    const QByteArray four = QByteArray(group) + "ttl=4\n";
    QTest::newRow("the system's file")
        << two << QByteArray() << QByteArray() << QByteArray("120000");
    QTest::newRow("the user's file")
        << QByteArray() << three << QByteArray() << QByteArray("180000");
    QTest::newRow("the named file") << QByteArray() << QByteArray() << four << QByteArray("240000");
    QTest::newRow("the user's file before the system's")
        << two << three << QByteArray() << QByteArray("180000");
    QTest::newRow("the named file before all") << two << three << four << QByteArray("240000");
    QTest::newRow("nothing below a minute") << QByteArray(group) + "ttl=0\n"
                                            << QByteArray() << QByteArray() << QByteArray("60000");
}

void ServiceSettingsTest::ttlStartsTheCollector()
{
    QFETCH(QByteArray, systemFile);
    QFETCH(QByteArray, userFile);
    QFETCH(QByteArray, namedFile);
    QFETCH(QByteArray, period);
    HostSetup setup;
    setup.systemSettings = systemFile;
    setup.userSettings = userFile;
    if (!namedFile.isEmpty())
        setup.environment.insert(QStringLiteral("BR_SETTINGS_INI_FILE"),
                                 QStringLiteral("named.ini"));
    HostProcess host(setup);
    QVERIFY(host.writeFile(QStringLiteral("home/named.ini"), namedFile));
    QVERIFY(host.start());
    QVERIFY2(host.log().contains(collectorLine(period)), host.log().constData());
}

void ServiceSettingsTest::namedFileWithAnotherEndingIsIgnored()
{
    HostSetup setup;
    setup.environment.insert(QStringLiteral("BR_SETTINGS_INI_FILE"), QStringLiteral("named.INI"));
    HostProcess host(setup);
    QVERIFY(host.writeFile(QStringLiteral("home/named.INI"), QByteArray(group) + "ttl=4\n"));
    QVERIFY(host.start());
    QVERIFY(!host.log().contains("garbage collector"));
}

void ServiceSettingsTest::withoutTtlThereIsNoCollector()
{
    HostSetup setup;
    setup.userSettings = QByteArray(group) + "ttl=often\n";
    HostProcess host(setup);
    QVERIFY(host.start());
    QVERIFY(!host.log().contains("garbage collector"));
}

void ServiceSettingsTest::defaultValuesMakeTheEmptyContextAfterFiveSeconds()
{
    HostSetup setup;
    setup.userSettings = QByteArray(group) + "defaultValues=true\n";
    HostProcess host(setup);
    QVERIFY(host.start());
    QVERIFY(!host.log().contains("Loading default value"));
    QVERIFY(host.waitForLog("Loading default value \"\"\n"));

    // No route reaches the empty id, but an update of every context does.
    EventStream stream(host.port(), "?only=published");
    HttpClient client(host.port());
    const QByteArray update =
        "{\"exchange\":\"kavo-context-rpc-update\",\"body\":{\"_id\":\"*\",\"a\":1}}";
    QCOMPARE(client.exchange("POST", "/exchange/chunks", {}, update).status, 202);
    const QJsonObject data = stream.next().json().value(QLatin1String("data")).toObject();
    QCOMPARE(data.value(QLatin1String("event")).toString(), QStringLiteral("context-changed"));
    QCOMPARE(data.value(QLatin1String("id")), QJsonValue(QString()));
}

void ServiceSettingsTest::withoutDefaultValuesThereIsNoEmptyContext()
{
    HostSetup setup;
    setup.userSettings = QByteArray(group) + "defaultValues=false\n";
    HostProcess host(setup);
    QVERIFY(host.start());
    QElapsedTimer timer;
    timer.start();
    QVERIFY(waitUntil([&] { return timer.hasExpired(6000); }));
    QVERIFY(!host.log().contains("Loading default value"));
}

void ServiceSettingsTest::cardsAreWrittenToTheConfiguredFolder()
{
    HostSetup setup;
    setup.systemSettings = QByteArray(group) + "xml.directory=cards\n"; // below the working folder
    HostProcess host(setup);
    QVERIFY(QDir(host.path(QStringLiteral("home"))).mkdir(QStringLiteral("cards")));
    QVERIFY(host.start());
    HttpClient client(host.port());
    const QByteArray card = "<c><vk-adm:cardholderIdentifier>123</vk-adm:cardholderIdentifier>"
                            "<vk-adm:insuredPersonNumber>456</vk-adm:insuredPersonNumber></c>";
    const QByteArray veka = "<v><unique_id>123</unique_id></v>";
    const QByteArray unknown = "<v><unique_id>9</unique_id></v>";
    const QByteArray chunks = '[' + cardChunk("Kavo", card) + ',' + cardChunk("veka", veka) + ',' +
                              cardChunk("veka", unknown) + ']';
    QCOMPARE(client.exchange("POST", "/exchange/chunks", {}, chunks).status, 202);

    const QDir folder(host.path(QStringLiteral("home/cards")));
    QCOMPARE(folder.entryList(QDir::Files, QDir::Name),
             QStringList({QStringLiteral("adm_456.xml"), QStringLiteral("vkc_.xml"),
                          QStringLiteral("vkc_456.xml")}));
    const QPair<const char *, QByteArray> files[] = {
        {"adm_456.xml", card}, {"vkc_.xml", unknown}, {"vkc_456.xml", veka}};
    for (const auto &expected : files) {
        QFile file(folder.filePath(QString::fromLatin1(expected.first)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), expected.second);
    }
}

void ServiceSettingsTest::cardsAreNotWrittenForAUsersSetting()
{
    HostSetup setup;
    setup.userSettings = QByteArray(group) + "xml.directory=cards\n";
    HostProcess host(setup);
    QVERIFY(QDir(host.path(QStringLiteral("home"))).mkdir(QStringLiteral("cards")));
    QVERIFY(host.start());
    HttpClient client(host.port());
    const QByteArray chunk = cardChunk("veka", "<v><unique_id>123</unique_id></v>");
    QCOMPARE(client.exchange("POST", "/exchange/chunks", {}, chunk).status, 202);
    QVERIFY(QDir(host.path(QStringLiteral("home/cards"))).isEmpty());
}

QTEST_GUILESS_MAIN(ServiceSettingsTest)
#include "tst_service_settings.moc"
