#include "broker/brokerprocess.h"

#include "broker/amqpclient.h"
#include "support/deadline.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcessEnvironment>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

// A broker that starts on a busy machine takes its time.
constexpr std::chrono::milliseconds startPatience = 240s;

const QString programs = QStringLiteral("/usr/lib/rabbitmq/bin/");

sockaddr_in loopback(quint16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool isFree(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    const bool isBound =
        ::bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    ::close(descriptor);
    return isBound;
}

// Below those that the system gives away, since the broker takes it only later, and again after
// every restart: another test's server or client would have it by then. Every process begins
// elsewhere.
quint16 freePort()
{
    constexpr int first = 10000;
    constexpr int ports = 20000;
    constexpr int stride = 16;
    static int next = int(QCoreApplication::applicationPid() * stride % ports);
    for (int tries = 0; tries < ports; ++tries) {
        const auto port = quint16(first + next);
        next = (next + 1) % ports;
        if (isFree(port))
            return port;
    }
    qFatal("no free port on loopback");
}

bool takesConnections(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    const bool isOpen =
        ::connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    ::close(descriptor);
    return isOpen;
}

void write(const QString &name, const QByteArray &text)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write %s", qPrintable(name));
}

QJsonObject user(const QString &name)
{
    const QByteArray salt = "salt";
    const QByteArray hash =
        QCryptographicHash::hash(salt + name.toUtf8(), QCryptographicHash::Sha256);
    return {{QStringLiteral("name"), name},
            {QStringLiteral("password_hash"), QString::fromLatin1((salt + hash).toBase64())},
            {QStringLiteral("hashing_algorithm"), QStringLiteral("rabbit_password_hashing_sha256")},
            {QStringLiteral("tags"), QStringLiteral("administrator")}};
}

QJsonObject permission(const QString &name, const QString &configure, const QString &mayWrite)
{
    return {{QStringLiteral("user"), name},
            {QStringLiteral("vhost"), QStringLiteral("/")},
            {QStringLiteral("configure"), configure},
            {QStringLiteral("write"), mayWrite},
            {QStringLiteral("read"), QStringLiteral(".*")}};
}

QByteArray definitions()
{
    const QString all = QStringLiteral(".*");
    const QStringList names{QStringLiteral("guest"), QStringLiteral("reader"),
                            QStringLiteral("mute")};
    QJsonArray users;
    for (const QString &name : names)
        users.append(user(name));
    const QJsonArray permissions{
        permission(names.at(0), all, all), permission(names.at(1), QStringLiteral("^$"), all),
        permission(names.at(2), all, QStringLiteral("^(?!kavo-context-events).*"))};
    return QJsonDocument(
               QJsonObject{{QStringLiteral("users"), users},
                           {QStringLiteral("vhosts"),
                            QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("/")}}}},
                           {QStringLiteral("permissions"), permissions}})
        .toJson();
}

} // namespace

BrokerProcess::BrokerProcess()
    : m_port(freePort())
    , m_distributionPort(freePort())
    , m_mapperPort(freePort())
{
    QDir().mkpath(path("home"));
    writeSettings();
}

BrokerProcess::~BrokerProcess()
{
    kill();
    m_mapper.kill();
    m_mapper.waitForFinished();
}

void BrokerProcess::present(const TestCertificate &certificate)
{
    if (m_encryptedPort == 0)
        m_encryptedPort = freePort();
    writeSettings("listeners.ssl.1 = 127.0.0.1:" + QByteArray::number(m_encryptedPort) +
                  "\nssl_options.certfile = " + certificate.certificate.toUtf8() +
                  "\nssl_options.keyfile = " + certificate.key.toUtf8() + '\n');
}

void BrokerProcess::writeSettings(const QByteArray &more) const
{
    write(path("plugins"), "[].\n");
    write(path("definitions.json"), definitions());
    write(path("rabbitmq.conf"), "listeners.tcp.1 = 127.0.0.1:" + QByteArray::number(m_port) +
                                     "\nloopback_users = none\nload_definitions = " +
                                     path("definitions.json").toUtf8() + '\n' + more);
}

bool BrokerProcess::startPortMapper()
{
    if (m_mapper.state() == QProcess::Running)
        return true;
    m_mapper.start(QStringLiteral("epmd"),
                   {QStringLiteral("-address"), QStringLiteral("127.0.0.1"),
                    QStringLiteral("-port"), QString::number(m_mapperPort)});
    m_mapper.waitForStarted();
    return support::waitUntil([this] { return takesConnections(m_mapperPort); });
}

bool BrokerProcess::start()
{
    QFile::remove(path("pid"));
    if (!startPortMapper())
        return false;
    m_process.setProcessEnvironment(environment());
    m_process.setStandardOutputFile(path("output"), QIODevice::Append);
    m_process.setStandardErrorFile(path("output"), QIODevice::Append);
    m_process.start(programs + QStringLiteral("rabbitmq-server"), QStringList());
    m_process.waitForStarted();
    // Waits on the process, which leaves the processor to the broker.
    const QDeadlineTimer deadline(startPatience);
    const auto isListening = [this] {
        return takesConnections(m_port) && AmqpClient(m_port).isOpen() &&
               (m_encryptedPort == 0 || takesConnections(m_encryptedPort));
    };
    while (!isListening() && !deadline.hasExpired() && !m_process.waitForFinished(50)) {
    }
    const bool isUp = isListening() && m_process.state() == QProcess::Running;
    if (!isUp)
        qWarning().noquote() << "No broker:" << log();
    return isUp;
}

// The broker itself; the process is the script that starts it and waits for it.
qint64 BrokerProcess::pid() const
{
    QFile file(path("pid"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong() : 0;
}

void BrokerProcess::signal(int number) const
{
    if (const qint64 process = pid())
        ::kill(pid_t(process), number);
}

void BrokerProcess::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    signal(SIGCONT);
    signal(SIGKILL);
    if (!m_process.waitForFinished(int(support::patience.count()))) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

void BrokerProcess::suspend()
{
    signal(SIGSTOP);
}

void BrokerProcess::resume()
{
    signal(SIGCONT);
}

QString BrokerProcess::url(const QString &user) const
{
    return QStringLiteral("amqp://%1:%1@127.0.0.1:%2").arg(user).arg(m_port);
}

bool BrokerProcess::control(const QStringList &arguments)
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(programs + QStringLiteral("rabbitmqctl"), arguments);
    const bool isOver = process.waitForFinished(int(startPatience.count()));
    const bool isWell = isOver && process.exitCode() == 0;
    if (!isWell)
        qWarning().noquote() << "rabbitmqctl" << arguments << process.readAll();
    return isWell;
}

QByteArray BrokerProcess::log() const
{
    QFile file(path("output"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QProcessEnvironment BrokerProcess::environment() const
{
    QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
    const auto set = [&result](const char *name, const QString &value) {
        result.insert(QLatin1String(name), value);
    };
    set("HOME", path("home")); // where the cookie of the node lies
    set("ERL_EPMD_ADDRESS", QStringLiteral("127.0.0.1"));
    set("ERL_EPMD_PORT", QString::number(m_mapperPort));
    set("RABBITMQ_NODENAME",
        QStringLiteral("kavo%1@localhost").arg(QCoreApplication::applicationPid()));
    set("RABBITMQ_DIST_PORT", QString::number(m_distributionPort));
    set("RABBITMQ_SERVER_ADDITIONAL_ERL_ARGS",
        QStringLiteral("-kernel inet_dist_use_interface {127,0,0,1}"));
    set("RABBITMQ_MNESIA_BASE", path("mnesia"));
    set("RABBITMQ_LOG_BASE", path("log"));
    set("RABBITMQ_CONFIG_FILE", path("rabbitmq.conf"));
    set("RABBITMQ_ENABLED_PLUGINS_FILE", path("plugins"));
    set("RABBITMQ_PID_FILE", path("pid"));
    return result;
}
