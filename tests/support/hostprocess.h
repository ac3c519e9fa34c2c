#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QSettings>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

namespace support {

/// How a kavo-host is started. It gets a home and settings folders of its own (on Windows: its
/// own files in the machine's), so that nothing of the machine's settings reaches it.
struct HostSetup
{
    QStringList options; ///< beside --listen and --plugin
    QStringList listen = {QStringLiteral("127.0.0.1:0")};
    QString plugin = pluginFile();
    QByteArray systemSettings; ///< text of Brenlo/kavo-service.ini for all users; empty: no file
    QByteArray userSettings;   ///< the same of the user
    QMap<QString, QString> environment;

    static QString pluginFile();
};

/// The real kavo-host as a child process. Ends it when it goes out of scope, with the signal that
/// an administrator would use, and fails the test when it did not end well: a leak that the
/// sanitizers find is reported there. Lives in a test, on its thread.
class HostProcess
{
public:
    explicit HostProcess(HostSetup setup = {});
    ~HostProcess();
    HostProcess(const HostProcess &) = delete;
    HostProcess &operator=(const HostProcess &) = delete;

    static QString program();

    /// Starts it and waits for the ready line; false when it ended instead, or took too long.
    bool start();

    /// Starts it without looking at its output. Once, by this or by `start`.
    void launch();

    quint16 port() const { return m_port; }
    const QByteArray &output() const { return m_output; } ///< standard output so far
    QByteArray log() const;                               ///< standard error so far

    /// Waits until the log holds the text.
    bool waitForLog(const QByteArray &text) const;

    qint64 processId() const { return m_process.processId(); }

    void terminate(); ///< SIGTERM; on Windows the console's Ctrl+C
    void interrupt(); ///< SIGINT, or that Ctrl+C

    /// Waits for the program's own end; false when it did not come, or was a crash.
    bool waitForFinished();
    int exitCode() const { return m_process.exitCode(); }

    /// A place for a test's files, below the program's home.
    QString path(const QString &name) const { return m_directory.filePath(name); }
    bool writeFile(const QString &name, const QByteArray &text) const;

private:
    QProcessEnvironment environment() const;
    QStringList arguments() const;
    QString settingsFile(QSettings::Scope scope) const;
    void writeSettings(QSettings::Scope scope, const QByteArray &text) const;
    bool readUntilReady();

    HostSetup m_setup;
    QTemporaryDir m_directory;
    QProcess m_process;
    QByteArray m_output;
    quint16 m_port = 0;
    bool m_isEnding = false; ///< a second signal would end it at once
};

} // namespace support
