#include "support/hostprocess.h"

#include "support/deadline.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <csignal>
#endif

#include <utility>

namespace support {

namespace {

// Put before every settings file, to know it again.
const char settingsMark[] = "; of a test of kavo-host\n";

enum class Signal { Terminate, Interrupt };

void sendSignal(const QProcess &process, Signal signal)
{
#ifdef Q_OS_WIN
    Q_UNUSED(signal)
    QProcess::execute(QStringLiteral(KAVO_SEND_CTRL_C), {QString::number(process.processId())});
#else
    ::kill(pid_t(process.processId()), signal == Signal::Terminate ? SIGTERM : SIGINT);
#endif
}

// Standard output and error are text, so their line ends are the system's.
QByteArray textLines(QByteArray written)
{
#ifdef Q_OS_WIN
    written.replace("\r\n", "\n");
#endif
    return written;
}

} // namespace

QString HostSetup::pluginFile()
{
    return QStringLiteral(KAVO_PLUGIN_FILE);
}

QString HostProcess::program()
{
    return QStringLiteral(KAVO_HOST_PROGRAM);
}

HostProcess::HostProcess(HostSetup setup)
    : m_setup(std::move(setup))
{
    for (const char *folder : {"home", "user", "system", "all-users", "roaming"})
        QDir().mkpath(path(QString::fromLatin1(folder)));
    writeSettings(QSettings::SystemScope, m_setup.systemSettings);
    writeSettings(QSettings::UserScope, m_setup.userSettings);
#ifdef Q_OS_WIN
    m_process.setCreateProcessArgumentsModifier([](QProcess::CreateProcessArguments *arguments) {
        arguments->flags |= CREATE_NO_WINDOW; // a console of its own, to send Ctrl+C to it alone
    });
#endif
}

HostProcess::~HostProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        if (!m_isEnding)
            terminate();
        if (!waitForFinished()) {
            m_process.kill();
            m_process.waitForFinished();
        }
        if (m_process.exitStatus() != QProcess::NormalExit || m_process.exitCode() != 0) {
            qWarning().noquote() << log();
            QTest::qFail("kavo-host did not end with exit status 0", __FILE__, __LINE__);
        }
    }
    writeSettings(QSettings::SystemScope, {});
    writeSettings(QSettings::UserScope, {});
}

bool HostProcess::start()
{
    launch();
    return readUntilReady();
}

void HostProcess::launch()
{
    m_process.setProcessEnvironment(environment());
    m_process.setWorkingDirectory(path(QStringLiteral("home")));
    // To a file, so that the program never waits for somebody to read its log.
    m_process.setStandardErrorFile(path(QStringLiteral("log")));
    m_process.start(program(), arguments());
}

bool HostProcess::readUntilReady()
{
    const QDeadlineTimer deadline(patience);
    while (!m_output.contains('\n') && !deadline.hasExpired()) {
        if (!m_process.waitForReadyRead(int(deadline.remainingTime())))
            break;
        m_output = textLines(m_output + m_process.readAllStandardOutput());
    }
    static const QRegularExpression line(QStringLiteral("^kavo-host ready: http://.*:(\\d+)\\R"));
    const auto match = line.match(QString::fromUtf8(m_output));
    m_port = quint16(match.captured(1).toUInt());
    if (m_port == 0)
        qWarning().noquote() << "No ready line:" << m_output << log();
    return m_port != 0;
}

QByteArray HostProcess::log() const
{
    QFile file(path(QStringLiteral("log")));
    return file.open(QIODevice::ReadOnly) ? textLines(file.readAll()) : QByteArray();
}

bool HostProcess::waitForLog(const QByteArray &text) const
{
    return waitUntil([&] { return log().contains(text); });
}

void HostProcess::terminate()
{
    m_isEnding = true;
    sendSignal(m_process, Signal::Terminate);
}

void HostProcess::interrupt()
{
    m_isEnding = true;
    sendSignal(m_process, Signal::Interrupt);
}

bool HostProcess::waitForFinished()
{
    const bool isOver = m_process.state() == QProcess::NotRunning ||
                        m_process.waitForFinished(int(patience.count()));
    m_output = textLines(m_output + m_process.readAllStandardOutput());
    return isOver && m_process.exitStatus() == QProcess::NormalExit;
}

bool HostProcess::writeFile(const QString &name, const QByteArray &text) const
{
    QDir().mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

// On Windows no environment variable moves the folders of settings, so a test uses the machine's. A
// file that somebody needs is never touched, and CTest runs such tests one at a time.
QString HostProcess::settingsFile(QSettings::Scope scope) const
{
#ifdef Q_OS_WIN
    return QSettings(QSettings::IniFormat, scope, QStringLiteral("Brenlo"),
                     QStringLiteral("kavo-service"))
        .fileName();
#else
    const QString folder =
        scope == QSettings::SystemScope ? QStringLiteral("system") : QStringLiteral("user");
    return path(folder + QStringLiteral("/Brenlo/kavo-service.ini"));
#endif
}

// Without a text the file is removed, also one that an interrupted test left behind.
void HostProcess::writeSettings(QSettings::Scope scope, const QByteArray &text) const
{
    const QString name = settingsFile(scope);
    QFile file(name);
    if (file.open(QIODevice::ReadOnly) && !file.readAll().startsWith(settingsMark))
        qFatal("Not a test's, so left alone: %s", qPrintable(name));
    file.close();
    file.remove();
    if (text.isEmpty())
        return;
    QDir().mkpath(QFileInfo(name).path());
    if (!file.open(QIODevice::WriteOnly) || file.write(settingsMark + text) < text.size())
        qFatal("Cannot write %s", qPrintable(name));
}

QProcessEnvironment HostProcess::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"QT_LOGGING_RULES", "QT_LOGGING_CONF", "QT_MESSAGE_PATTERN",
                             "BR_SETTINGS_INI_FILE", "QT_FORCE_STDERR_LOGGING"})
        environment.remove(QString::fromLatin1(name));
    const std::pair<const char *, const char *> folders[] = {{"HOME", "home"},
                                                             {"XDG_CONFIG_HOME", "user"},
                                                             {"XDG_CONFIG_DIRS", "system"},
                                                             {"ALLUSERSPROFILE", "all-users"},
                                                             {"APPDATA", "roaming"}};
    for (const auto &folder : folders)
        environment.insert(QString::fromLatin1(folder.first),
                           path(QString::fromLatin1(folder.second)));
    for (auto it = m_setup.environment.begin(); it != m_setup.environment.end(); ++it)
        environment.insert(it.key(), it.value());
    return environment;
}

QStringList HostProcess::arguments() const
{
    QStringList all;
    for (const QString &address : m_setup.listen)
        all << QStringLiteral("--listen") << address;
    if (!m_setup.plugin.isEmpty())
        all << QStringLiteral("--plugin") << m_setup.plugin;
    return all + m_setup.options;
}

} // namespace support
