#pragma once

#include "broker/testauthority.h"

#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

/// A real RabbitMQ broker on loopback, with a node name, ports, a port mapper and folders of its
/// own, so that it meets no other one. Ends with the object. It may be killed and started again:
/// what is durable in it stays. Lives in a test, on its thread.
///
/// Users: guest (everything), reader (may not declare), mute (may not publish to the event
/// exchange); each with its name as the password.
class BrokerProcess
{
public:
    BrokerProcess();
    ~BrokerProcess();
    BrokerProcess(const BrokerProcess &) = delete;
    BrokerProcess &operator=(const BrokerProcess &) = delete;

    /// Has it listen with TLS too, with that certificate, from the next start on.
    void present(const TestCertificate &certificate);

    /// Starts it and waits until it takes connections.
    bool start();

    void kill();    ///< SIGKILL, and waits until it is gone
    void suspend(); ///< SIGSTOP: connections stay open, and nobody answers
    void resume();

    quint16 port() const { return m_port; }
    quint16 encryptedPort() const { return m_encryptedPort; }
    QString url(const QString &user = QStringLiteral("guest")) const;

    /// Runs rabbitmqctl; false when it failed.
    bool control(const QStringList &arguments);

    QByteArray log() const;

private:
    QProcessEnvironment environment() const;
    void writeSettings(const QByteArray &more = {}) const;
    bool startPortMapper();
    qint64 pid() const;
    void signal(int number) const;
    QString path(const char *name) const { return m_directory.filePath(QLatin1String(name)); }

    QTemporaryDir m_directory;
    quint16 m_port;
    quint16 m_encryptedPort = 0;
    quint16 m_distributionPort;
    quint16 m_mapperPort;
    QProcess m_mapper;
    QProcess m_process;
};
