#include "chunk/carddocument.h"

#include <QtTest/QtTest>

namespace {

bool write(const QString &path, const QByteArray &text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

QByteArray ini(const char *directory)
{
    return QByteArray("[ch.brenlo.kavo-service.context]\nxml.directory=") + directory + '\n';
}

} // namespace

/// Where card documents go when there are several folders of system-wide settings. A program of its
/// own, because QSettings::setPath, which other tests call, cannot be taken back.
class tst_XmlDirectory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void nothingWithoutTheSetting();
    void earlierSystemDirectoryWins();
    void laterSystemDirectoryCountsWhenTheEarlierHasNoSuchKey();
    void emptyValueHidesTheLaterOne();
    void otherSourcesOfSettingsDoNotCount();

private:
    QString file(const char *directory) const
    {
        return m_directory->filePath(QString::fromUtf8(directory)) +
               QStringLiteral("/organisation/application.ini");
    }

    QTemporaryDir m_home;
    std::unique_ptr<QTemporaryDir> m_directory;
};

void tst_XmlDirectory::initTestCase()
{
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.path())); // Qt looks but once
}

void tst_XmlDirectory::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QCoreApplication::setOrganizationName(QStringLiteral("organisation"));
    QCoreApplication::setApplicationName(QStringLiteral("application"));
    const QString list = m_directory->filePath(QStringLiteral("desktop")) + QLatin1Char(':') +
                         m_directory->filePath(QStringLiteral("system"));
    qputenv("XDG_CONFIG_DIRS", QFile::encodeName(list));
    qunsetenv("BR_SETTINGS_INI_FILE");
}

void tst_XmlDirectory::nothingWithoutTheSetting()
{
    QVERIFY(write(file("system"), "[ch.brenlo.kavo-service.context]\nttl=1\n"));
    QVERIFY(!configuredXmlDirectory());
}

void tst_XmlDirectory::earlierSystemDirectoryWins()
{
    QVERIFY(write(file("desktop"), ini("/first")));
    QVERIFY(write(file("system"), ini("/second")));
    QVERIFY(configuredXmlDirectory().has_value());
    QCOMPARE(configuredXmlDirectory()->path(), QStringLiteral("/first"));
}

void tst_XmlDirectory::laterSystemDirectoryCountsWhenTheEarlierHasNoSuchKey()
{
    QVERIFY(write(file("system"), ini("/second")));
    QVERIFY(configuredXmlDirectory().has_value());
    QCOMPARE(configuredXmlDirectory()->path(), QStringLiteral("/second"));
    QVERIFY(write(file("desktop"), "[ch.brenlo.kavo-service.context]\nttl=1\n"));
    QVERIFY(configuredXmlDirectory().has_value());
    QCOMPARE(configuredXmlDirectory()->path(), QStringLiteral("/second"));
}

void tst_XmlDirectory::emptyValueHidesTheLaterOne()
{
    QVERIFY(write(file("desktop"), ini("")));
    QVERIFY(write(file("system"), ini("/second")));
    QVERIFY(configuredXmlDirectory().has_value());
    QCOMPARE(configuredXmlDirectory()->absolutePath(), QDir::currentPath());
}

void tst_XmlDirectory::otherSourcesOfSettingsDoNotCount()
{
    QVERIFY(write(m_home.filePath(QStringLiteral("organisation/application.ini")), ini("/user")));
    const QString named = m_directory->filePath(QStringLiteral("named.ini"));
    QVERIFY(write(named, ini("/named")));
    qputenv("BR_SETTINGS_INI_FILE", QFile::encodeName(named));
    QVERIFY(!configuredXmlDirectory());
}

QTEST_GUILESS_MAIN(tst_XmlDirectory)
#include "tst_xmldirectory.moc"
