#include "app/tokenfile.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

using namespace host;

class TokenFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstLineIsTheToken_data();
    void theFirstLineIsTheToken();
    void whatIsNoTokenIsRefused_data();
    void whatIsNoTokenIsRefused();
    void aMissingFileIsRefused();
    void aFolderIsRefused();

private:
    QString written(const QByteArray &content) const;

    QTemporaryDir m_folder;
};

QString TokenFileTest::written(const QByteArray &content) const
{
    QFile file(m_folder.filePath(QStringLiteral("token")));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

void TokenFileTest::theFirstLineIsTheToken_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("token");
    QTest::newRow("no line end") << QByteArray("s3cret") << QByteArray("s3cret");
    QTest::newRow("LF") << QByteArray("s3cret\n") << QByteArray("s3cret");
    QTest::newRow("CR LF") << QByteArray("s3cret\r\n") << QByteArray("s3cret");
    QTest::newRow("more lines") << QByteArray("s3cret\nanother\n") << QByteArray("s3cret");
    QTest::newRow("all kinds") << QByteArray("aZ0-._~+/==\n") << QByteArray("aZ0-._~+/==");
    QTest::newRow("as long as may be") << QByteArray(4096, 'x') + "\r\n" << QByteArray(4096, 'x');
}

void TokenFileTest::theFirstLineIsTheToken()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, token);
    QString error;
    QCOMPARE(readTokenFile(written(content), &error), token);
    QVERIFY(error.isEmpty());
}

void TokenFileTest::whatIsNoTokenIsRefused_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reason");
    QTest::newRow("empty file") << QByteArray() << "is empty";
    QTest::newRow("empty first line") << QByteArray("\ns3cret\n") << "is empty";
    QTest::newRow("a blank behind it") << QByteArray("s3cret \n") << "holds a blank";
    QTest::newRow("two words") << QByteArray("Bearer s3cret\n") << "holds a blank";
    QTest::newRow("beyond ASCII") << QByteArray("s\xc3\xa9"
                                                "cret\n")
                                  << "beyond ASCII";
    QTest::newRow("a NUL") << QByteArray("s3c\0ret\n", 8) << "holds a blank";
    QTest::newRow("too long") << QByteArray(4097, 'x') << "longer than 4096";
    QTest::newRow("far too long") << QByteArray(1000000, 'x') << "longer than 4096";
}

void TokenFileTest::whatIsNoTokenIsRefused()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, reason);
    const QString file = written(content);
    QString error;
    QVERIFY(readTokenFile(file, &error).isEmpty());
    QVERIFY2(error.contains(reason), qPrintable(error));
    QVERIFY(error.contains(file));
    QVERIFY(!error.contains(QStringLiteral("cret")));
}

void TokenFileTest::aMissingFileIsRefused()
{
    QString error;
    QVERIFY(readTokenFile(m_folder.filePath(QStringLiteral("missing")), &error).isEmpty());
    QVERIFY(error.startsWith(QStringLiteral("cannot read the token file ")));
}

void TokenFileTest::aFolderIsRefused()
{
    QString error;
    QVERIFY(readTokenFile(m_folder.path(), &error).isEmpty());
    QVERIFY(!error.isEmpty());
}

QTEST_APPLESS_MAIN(TokenFileTest)
#include "tst_tokenfile.moc"
