#include "broker/amqpclient.h"
#include "broker/brokerhost.h"
#include "broker/testauthority.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

#include <memory>

using namespace support;

namespace {

const QByteArray set = "kavo-context-rpc-set";
const QString nameOfBroker = QStringLiteral("localhost");

bool copyFile(const QString &from, const QString &to)
{
    return (!QFile::exists(to) || QFile::remove(to)) && QFile::copy(from, to);
}

} // namespace

/// A broker that speaks TLS, with certificates made for the test: who is let in, and who is told
/// why not.
class BrokerTlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_broker.reset(); }

    void chunksGoBothWays();
    void theSystemsAuthoritiesAreTrustedWithoutTheOption();
    void anotherAuthorityIsRefusedUntilItIsTheRightOne();
    void theWrongPeerIsRefused_data();
    void theWrongPeerIsRefused();
    void anotherHostsCertificateIsRefusedUntilItIsTheRightOne();

private:
    QString url(const QString &scheme, const QString &host, quint16 port) const;
    HostSetup setup(const QString &authority) const;
    bool arrives(const HostProcess &host, const char *id) const;

    TestAuthority m_authority;
    TestAuthority m_stranger;
    TestCertificate m_certificate;
    std::unique_ptr<BrokerProcess> m_broker;
};

void BrokerTlsTest::initTestCase()
{
    m_certificate = m_authority.issue(nameOfBroker);
    m_broker = std::make_unique<BrokerProcess>();
    m_broker->present(m_certificate);
    QVERIFY(m_broker->start());
}

QString BrokerTlsTest::url(const QString &scheme, const QString &host, quint16 port) const
{
    return QStringLiteral("%1://guest:guest@%2:%3").arg(scheme, host).arg(port);
}

HostSetup BrokerTlsTest::setup(const QString &authority) const
{
    HostSetup setup;
    setup.options = QStringList{
        QStringLiteral("--workstation"), QStringLiteral("ws1"), QStringLiteral("--exchange"),
        url(QStringLiteral("amqps"), nameOfBroker, m_broker->encryptedPort())};
    if (!authority.isEmpty())
        setup.options << QStringLiteral("--exchange-ca") << authority;
    // The system's authorities are none that could have signed it.
    setup.environment.insert(QStringLiteral("SSL_CERT_FILE"), m_stranger.certificate());
    setup.environment.insert(QStringLiteral("QT_LOGGING_RULES"),
                             QStringLiteral("kavo.host.broker.debug=true"));
    return setup;
}

bool BrokerTlsTest::arrives(const HostProcess &host, const char *id) const
{
    AmqpClient client(m_broker->port());
    return client.publish(set, "ws1", R"({"body":{"a":1,"_id":")" + QByteArray(id) + "\"}}") &&
           !waitForPage(host.port(), QByteArray("/context/") + id).isNull();
}

// Also many at once and one of many records: what TLS has decrypted waits where the socket does
// not show it.
void BrokerTlsTest::chunksGoBothWays()
{
    HostProcess host(setup(m_authority.certificate()));
    QVERIFY(host.start());
    QVERIFY(waitForBroker(host.port()));
    QVERIFY(host.waitForLog("Connected to the broker amqps://guest@localhost:"));
    AmqpClient client(m_broker->port());
    const QByteArray replies = client.declareQueue();
    QVERIFY(client.consume(replies));
    constexpr int requests = 500;
    for (int i = 0; i < requests; ++i)
        QVERIFY(client.publish(set, "ws1",
                               R"({"body":{"_id":"n","n":)" + QByteArray::number(i) + "}}", replies,
                               QByteArray::number(i)));
    for (int i = 0; i < requests; ++i) {
        const auto reply = client.next();
        QVERIFY(reply);
        QCOMPARE(reply->correlationId, QByteArray::number(i));
    }
    const QByteArray text(1000 * 1000, 'x');
    QVERIFY(client.publish(set, "ws1", R"({"body":{"_id":"large","a":")" + text + "\"}}", replies));
    const auto reply = client.next();
    QVERIFY(reply);
    QVERIFY(reply->body.contains(text));
    QVERIFY(!host.log().contains("guest:guest"));
}

void BrokerTlsTest::theSystemsAuthoritiesAreTrustedWithoutTheOption()
{
    HostSetup trusting = setup(QString());
    trusting.environment.insert(QStringLiteral("SSL_CERT_FILE"), m_authority.certificate());
    HostProcess host(trusting);
    QVERIFY(host.start());
    QVERIFY(waitForBroker(host.port()));
    QVERIFY(arrives(host, "bySystem"));
}

void BrokerTlsTest::anotherAuthorityIsRefusedUntilItIsTheRightOne()
{
    QTemporaryDir directory;
    const QString authority = directory.filePath(QStringLiteral("authority.pem"));
    QVERIFY(copyFile(m_stranger.certificate(), authority));
    HostProcess host(setup(authority));
    QVERIFY(host.start());
    QVERIFY(host.waitForLog("no connection: SSL peer cert verification failed - trying again"));
    QVERIFY(host.waitForLog("Again: no connection: SSL peer cert verification failed"));
    QCOMPARE(brokerState(host.port()), QStringLiteral("connecting"));
    QVERIFY(copyFile(m_authority.certificate(), authority));
    QVERIFY(waitForBroker(host.port()));
    QVERIFY(arrives(host, "afterAuthority"));
    QVERIFY(!host.log().contains("guest:guest"));
}

void BrokerTlsTest::theWrongPeerIsRefused_data()
{
    QTest::addColumn<QString>("exchange");
    QTest::addColumn<QString>("authority");
    QTest::addColumn<QByteArray>("told");
    const QString amqp = QStringLiteral("amqp");
    const QString amqps = QStringLiteral("amqps");
    const QString trusted = m_authority.certificate();
    const quint16 encrypted = m_broker->encryptedPort();
    QTest::newRow("of an authority that the system does not know")
        << url(amqps, nameOfBroker, encrypted) << QString()
        << QByteArray("SSL peer cert verification failed");
    QTest::newRow("under another name")
        << url(amqps, QStringLiteral("127.0.0.1"), encrypted) << trusted
        << QByteArray("SSL hostname verification failed");
    QTest::newRow("no authorities there")
        << url(amqps, nameOfBroker, encrypted) << QStringLiteral("/nowhere/authority.pem")
        << QByteArray("cannot read the certificates in /nowhere/authority.pem");
    QTest::newRow("does not speak TLS")
        << url(amqps, nameOfBroker, m_broker->port()) << trusted << QByteArray("no connection: ");
    QTest::newRow("speaks TLS only")
        << url(amqp, nameOfBroker, encrypted) << QString() << QByteArray("no login: ");
}

void BrokerTlsTest::theWrongPeerIsRefused()
{
    QFETCH(QString, exchange);
    QFETCH(QString, authority);
    QFETCH(QByteArray, told);
    HostSetup wrong = setup(authority);
    wrong.options.replace(wrong.options.indexOf(QStringLiteral("--exchange")) + 1, exchange);
    HostProcess host(wrong);
    QVERIFY(host.start());
    QVERIFY2(host.waitForLog("Again: "), host.log().constData());
    QVERIFY2(host.log().contains(told), host.log().constData());
    QCOMPARE(host.log().count("- trying again"), 1);
    QCOMPARE(brokerState(host.port()), QStringLiteral("connecting"));
    QVERIFY(!host.log().contains("guest:guest"));
}

void BrokerTlsTest::anotherHostsCertificateIsRefusedUntilItIsTheRightOne()
{
    HostProcess host(setup(m_authority.certificate()));
    QVERIFY(host.start());
    QVERIFY(waitForBroker(host.port()));
    m_broker->kill();
    m_broker->present(m_authority.issue(QStringLiteral("broker.example")));
    QVERIFY(m_broker->start());
    QVERIFY(host.waitForLog("no connection: SSL hostname verification failed - trying again"));
    QCOMPARE(brokerState(host.port()), QStringLiteral("connecting"));
    m_broker->kill();
    m_broker->present(m_certificate);
    QVERIFY(m_broker->start());
    QVERIFY(waitForBroker(host.port()));
    QVERIFY(arrives(host, "afterName"));
}

QTEST_GUILESS_MAIN(BrokerTlsTest)
#include "tst_broker_tls.moc"
