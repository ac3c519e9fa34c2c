#include "app/logging.h"

#include <QtCore/QProcess>
#include <QtTest/QtTest>

#include <cstring>

// Environment rules are read once per process, so that each case is a process of its own: this
// program again, which logs one line of each level.
Q_LOGGING_CATEGORY(lcModule, "ch.brenlo.kavo-service.context")

static int logEverything()
{
    host::setUpLogging();
    qCDebug(lcModule) << "credentials";
    qCInfo(lcModule) << "started";
    qCWarning(lcModule) << "rejected";
    return 0;
}

class LoggingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void debugIsOffByDefault();
    void loggingRulesTurnDebugOn();
    void loggingRulesTurnOneCategoryOn();
#ifndef Q_OS_WIN // where the rules lie in a folder that no environment variable moves
    void theUsersRulesForAllProgramsDoNotTurnDebugOn();
#endif
    void theMessagePatternCounts();

private:
    static QByteArray logged(const QString &name = QString(), const QString &value = QString());
};

QByteArray LoggingTest::logged(const QString &name, const QString &value)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("QT_LOGGING_RULES"));
    environment.remove(QStringLiteral("QT_LOGGING_CONF"));
    environment.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
    if (!name.isEmpty())
        environment.insert(name, value);
    QProcess child;
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--log")});
    if (!child.waitForFinished() || child.exitCode() != 0)
        qFatal("the child failed");
    return child.readAllStandardError().replace("\r\n", "\n");
}

void LoggingTest::debugIsOffByDefault()
{
    QCOMPARE(logged(), QByteArray("ch.brenlo.kavo-service.context: started\n"
                                  "ch.brenlo.kavo-service.context: rejected\n"));
}

void LoggingTest::loggingRulesTurnDebugOn()
{
    QVERIFY(logged(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.debug=true"))
                .contains("credentials"));
}

void LoggingTest::loggingRulesTurnOneCategoryOn()
{
    const QString rules = QStringLiteral("QT_LOGGING_RULES");
    QVERIFY(logged(rules, QStringLiteral("ch.brenlo.*=true")).contains("credentials"));
    QVERIFY(!logged(rules, QStringLiteral("kavo.host.*=true")).contains("credentials"));
    QVERIFY(!logged(rules, QStringLiteral("ch.brenlo.*.info=false")).contains("started"));
}

#ifndef Q_OS_WIN
// It is the user's for every Qt program, and who turned debug on for another one did not ask for
// patients' data in a log.
void LoggingTest::theUsersRulesForAllProgramsDoNotTurnDebugOn()
{
    QTemporaryDir config;
    QVERIFY(QDir(config.path()).mkdir(QStringLiteral("QtProject")));
    QFile rules(config.filePath(QStringLiteral("QtProject/qtlogging.ini")));
    QVERIFY(rules.open(QIODevice::WriteOnly));
    rules.write("[Rules]\n*.debug=true\n*.info=false\n");
    rules.close();
    QCOMPARE(logged(QStringLiteral("XDG_CONFIG_HOME"), config.path()),
             QByteArray("ch.brenlo.kavo-service.context: rejected\n"));
}
#endif

void LoggingTest::theMessagePatternCounts()
{
    QCOMPARE(logged(QStringLiteral("QT_MESSAGE_PATTERN"), QStringLiteral("%{type}|%{message}")),
             QByteArray("info|started\nwarning|rejected\n"));
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc == 2 && std::strcmp(argv[1], "--log") == 0)
        return logEverything();
    LoggingTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_logging.moc"
