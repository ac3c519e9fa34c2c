#include "http/uricharacters.h"

#include <QtTest/QtTest>

using namespace host;

class TestUriCharacters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pathAndQuery_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("valid");
        QTest::newRow("plain") << QByteArray("/context/abc") << true;
        QTest::newRow("form") << QByteArray("/context/abc/$form") << true;
        QTest::newRow("query") << QByteArray("/f?download=true&filename=a.pdf") << true;
        QTest::newRow("every sub-delimiter") << QByteArray("/!$&'()*+,;=:@-._~") << true;
        QTest::newRow("percent") << QByteArray("/a%2Fb%c3%A4") << true;
        QTest::newRow("two slashes") << QByteArray("//x") << true;
        QTest::newRow("percent at the end") << QByteArray("/a%") << false;
        QTest::newRow("percent and one digit") << QByteArray("/a%2") << false;
        QTest::newRow("percent and no digits") << QByteArray("/a%g5") << false;
        QTest::newRow("fragment") << QByteArray("/a#b") << false;
        QTest::newRow("quote") << QByteArray("/a\"b") << false;
        QTest::newRow("angle bracket") << QByteArray("/<a>") << false;
        QTest::newRow("backslash") << QByteArray("/a\\b") << false;
        QTest::newRow("brace") << QByteArray("/{a}") << false;
        QTest::newRow("bracket") << QByteArray("/a?b[0]=1") << false;
        QTest::newRow("bar") << QByteArray("/a|b") << false;
        QTest::newRow("blank") << QByteArray("/a b") << false;
        QTest::newRow("beyond ASCII") << QByteArray("/\xc3\xa4") << false;
        QTest::newRow("NUL") << QByteArray("/a\0b", 4) << false;
    }

    void pathAndQuery()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, valid);
        QCOMPARE(isPathAndQuery({text.constData(), std::size_t(text.size())}), valid);
    }

    void authority_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QByteArray>("host");
        QTest::newRow("name") << QByteArray("localhost") << true << QByteArray("localhost");
        QTest::newRow("name and port") << QByteArray("a.b:8480") << true << QByteArray("a.b");
        QTest::newRow("v4") << QByteArray("127.0.0.1:1") << true << QByteArray("127.0.0.1");
        QTest::newRow("v6") << QByteArray("[::1]") << true << QByteArray("[::1]");
        QTest::newRow("v6 and port") << QByteArray("[::1]:80") << true << QByteArray("[::1]");
        QTest::newRow("empty port") << QByteArray("a:") << true << QByteArray("a");
        QTest::newRow("empty") << QByteArray() << false << QByteArray();
        QTest::newRow("port only") << QByteArray(":80") << false << QByteArray();
        QTest::newRow("user") << QByteArray("u@h") << false << QByteArray("u@h");
        QTest::newRow("port of letters") << QByteArray("h:8o") << false << QByteArray("h");
        QTest::newRow("long port") << QByteArray("h:123456") << false << QByteArray("h");
        QTest::newRow("v6 without brackets") << QByteArray("::1") << false << QByteArray(":");
        QTest::newRow("open bracket") << QByteArray("[::1") << false << QByteArray("[:");
        QTest::newRow("two ports") << QByteArray("h:1:2") << false << QByteArray("h:1");
        QTest::newRow("path") << QByteArray("h/x") << false << QByteArray("h/x");
        QTest::newRow("blank") << QByteArray("a b") << false << QByteArray("a b");
        QTest::newRow("list") << QByteArray("a, b") << false << QByteArray("a, b");
    }

    void authority()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, valid);
        QFETCH(QByteArray, host);
        const std::string_view view{text.constData(), std::size_t(text.size())};
        QCOMPARE(isAuthority(view), valid);
        const std::string_view name = hostOf(view);
        QCOMPARE(QByteArray(name.data(), int(name.size())), host);
    }
};

QTEST_APPLESS_MAIN(TestUriCharacters)
#include "tst_uricharacters.moc"
