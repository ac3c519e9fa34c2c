#include "context/fileservice.h"

#include <QtTest/QtTest>

class TestFileService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keyIsContextUnderscoreName();
    void containsOnlyWhatWasInserted();
    void valueOfAMissingKeyEntersItEmpty();
    void insertReplacesBytes();
    void removeForgetsTheKey();
    void noBytesAreStoredAsEmptyNotNull();
    void bytesAreSharedNotCopied();
};

namespace {
const QString Key = QStringLiteral("id_name");
}

void TestFileService::keyIsContextUnderscoreName()
{
    QCOMPARE(FileService::fileKey(QStringLiteral("id"), QStringLiteral("a_b.pdf")),
             QStringLiteral("id_a_b.pdf"));
    QCOMPARE(FileService::fileKey(QString(), QString()), QStringLiteral("_"));
}

void TestFileService::containsOnlyWhatWasInserted()
{
    FileService files;
    QVERIFY(!files.contains(Key));
    files.insert(Key, "bytes");
    QVERIFY(files.contains(Key));
    QVERIFY(!files.contains(QStringLiteral("id_nam")));
}

void TestFileService::valueOfAMissingKeyEntersItEmpty()
{
    FileService files;
    const QByteArray bytes = files.value(Key);
    QVERIFY(bytes.isEmpty());
    QVERIFY(!bytes.isNull());
    QVERIFY(files.contains(Key));
}

void TestFileService::insertReplacesBytes()
{
    FileService files;
    files.insert(Key, "old");
    files.insert(Key, QByteArray("n\0w", 3));
    QCOMPARE(files.value(Key), QByteArray("n\0w", 3));
}

void TestFileService::removeForgetsTheKey()
{
    FileService files;
    files.insert(Key, "bytes");
    files.remove(QStringLiteral("id_other"));
    QVERIFY(files.contains(Key));
    files.remove(Key);
    QVERIFY(!files.contains(Key));
}

void TestFileService::noBytesAreStoredAsEmptyNotNull()
{
    FileService files;
    files.insert(Key, QByteArray());
    QVERIFY(files.contains(Key));
    QVERIFY(!files.value(Key).isNull());
    QVERIFY(files.value(Key).isEmpty());
}

void TestFileService::bytesAreSharedNotCopied()
{
    FileService files;
    const QByteArray bytes(1000, 'x');
    files.insert(Key, bytes);
    QCOMPARE(static_cast<const void *>(files.value(Key).constData()),
             static_cast<const void *>(bytes.constData()));
}

QTEST_GUILESS_MAIN(TestFileService)
#include "tst_fileservice.moc"
