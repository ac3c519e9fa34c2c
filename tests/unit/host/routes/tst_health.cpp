#include "routes/health.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

using namespace host;

class HealthTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsWhatRuns();
    void isDegradedWhileAConfiguredBrokerIsAway_data();
    void isDegradedWhileAConfiguredBrokerIsAway();
};

void HealthTest::tellsWhatRuns()
{
    Health health;
    health.version = QStringLiteral("1.2.3");
    health.uptimeSeconds = 75;
    health.pluginFile = QStringLiteral("/opt/contextplugin.so");
    health.pluginInterface = QStringLiteral("an.interface");
    health.http.connections = 3;
    health.http.waitingExchanges = 2;
    health.http.controllers = 1;
    QCOMPARE(
        QJsonDocument(healthReport(health)).toJson(QJsonDocument::Compact),
        QByteArray("{\"exchange\":{\"broker\":\"off\",\"embedded\":\"up\"},"
                   "\"http\":{\"connections\":3,\"controllers\":1,\"waiting\":2},"
                   "\"plugin\":{\"file\":\"/opt/contextplugin.so\",\"interface\":\"an.interface\"},"
                   "\"status\":\"ok\",\"uptimeSeconds\":75,\"version\":\"1.2.3\"}"));
}

void HealthTest::isDegradedWhileAConfiguredBrokerIsAway_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("broker");
    QTest::addColumn<QString>("status");
    QTest::newRow("none") << int(BrokerState::Off) << "off"
                          << "ok";
    QTest::newRow("away") << int(BrokerState::Connecting) << "connecting"
                          << "degraded";
    QTest::newRow("there") << int(BrokerState::Connected) << "connected"
                           << "ok";
}

void HealthTest::isDegradedWhileAConfiguredBrokerIsAway()
{
    QFETCH(int, state);
    QFETCH(QString, broker);
    QFETCH(QString, status);
    Health health;
    health.broker = BrokerState(state);
    const QJsonObject report = healthReport(health);
    QCOMPARE(report.value(QStringLiteral("status")).toString(), status);
    QCOMPARE(report.value(QStringLiteral("exchange"))
                 .toObject()
                 .value(QStringLiteral("broker"))
                 .toString(),
             broker);
}

QTEST_APPLESS_MAIN(HealthTest)
#include "tst_health.moc"
