#include "http/responsehead.h"

#include <QtTest/QtTest>

using namespace host;

class TestResponseHead : public QObject
{
    Q_OBJECT

    static QByteArray withoutDate(QByteArray head)
    {
        const int date = head.indexOf("Date: ");
        head.remove(date, head.indexOf("\r\n", date) + 2 - date);
        return head;
    }

private Q_SLOTS:
    void aPlainAnswer()
    {
        ResponseFraming framing;
        framing.length = 12;
        const QByteArray head = responseHead(
            200, {{QStringLiteral("Content-Type"), QStringLiteral("text/plain")}}, {}, framing);
        QCOMPARE(withoutDate(head),
                 QByteArray("HTTP/1.1 200 OK\r\nServer: kavo-host\r\nContent-Type: text/plain\r\n"
                            "Content-Length: 12\r\n\r\n"));
    }

    void theDateIsAnHttpDate()
    {
        const QRegularExpression pattern(QStringLiteral(
            "^(Mon|Tue|Wed|Thu|Fri|Sat|Sun), \\d{2} (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|"
            "Dec) \\d{4} \\d{2}:\\d{2}:\\d{2} GMT$"));
        QVERIFY(pattern.match(QString::fromLatin1(httpDate())).hasMatch());
        QVERIFY(responseHead(200, {}, {}, {}).contains("\r\nDate: " + httpDate() + "\r\n"));
    }

    void framings_data()
    {
        QTest::addColumn<int>("body");
        QTest::addColumn<bool>("keepAlive");
        QTest::addColumn<bool>("http10");
        QTest::addColumn<QByteArray>("lines");
        QTest::newRow("length") << int(ResponseFraming::Length) << true << false
                                << QByteArray("Content-Length: 0\r\n");
        QTest::newRow("none") << int(ResponseFraming::None) << true << false << QByteArray();
        QTest::newRow("chunked") << int(ResponseFraming::Chunked) << true << false
                                 << QByteArray("Transfer-Encoding: chunked\r\n");
        QTest::newRow("to the end")
            << int(ResponseFraming::ToEnd) << false << true << QByteArray("Connection: close\r\n");
        QTest::newRow("close") << int(ResponseFraming::None) << false << false
                               << QByteArray("Connection: close\r\n");
        QTest::newRow("1.0 kept alive") << int(ResponseFraming::None) << true << true
                                        << QByteArray("Connection: keep-alive\r\n");
    }

    void framings()
    {
        QFETCH(int, body);
        QFETCH(bool, keepAlive);
        QFETCH(bool, http10);
        QFETCH(QByteArray, lines);
        ResponseFraming framing;
        framing.body = ResponseFraming::Body(body);
        framing.keepAlive = keepAlive;
        framing.http10 = http10;
        QCOMPARE(withoutDate(responseHead(204, {}, {}, framing)),
                 "HTTP/1.1 204 No Content\r\nServer: kavo-host\r\n" + lines + "\r\n");
    }

    void extraLinesFollowTheFields()
    {
        ResponseFraming framing;
        framing.body = ResponseFraming::None;
        QCOMPARE(
            withoutDate(responseHead(204, {{QStringLiteral("A"), QStringLiteral("b")}}, "C: d\r\n",
                                     framing)),
            QByteArray("HTTP/1.1 204 No Content\r\nServer: kavo-host\r\nA: b\r\nC: d\r\n\r\n"));
    }

    void valuesBeyondAsciiAreUtf8()
    {
        const QString name = QString::fromUtf8("\xc3\xa4.pdf");
        QVERIFY(responseHead(200, {{QStringLiteral("A"), name}}, {}, {})
                    .contains("\r\nA: \xc3\xa4.pdf\r\n"));
    }

    void statusesWithoutABody()
    {
        QVERIFY(!statusHasBody(204));
        QVERIFY(!statusHasBody(304));
        QVERIFY(!statusHasBody(100));
        QVERIFY(statusHasBody(200));
        QVERIFY(statusHasBody(404));
    }

    void fieldNamesAndValues()
    {
        QVERIFY(isFieldName(QStringLiteral("X-a.b~1")));
        QVERIFY(!isFieldName(QString()));
        QVERIFY(!isFieldName(QStringLiteral("a b")));
        QVERIFY(!isFieldName(QStringLiteral("a:")));
        QVERIFY(!isFieldName(QStringLiteral("a\r\nb")));
        QVERIFY(!isFieldName(QString::fromUtf8("\xc3\xa4")));
        QVERIFY(!isFieldName(QString(QChar(0))));
        QVERIFY(isFieldValue(QString()));
        QVERIFY(isFieldValue(QString::fromUtf8("a\tb; \xc3\xa4")));
        QVERIFY(!isFieldValue(QStringLiteral("a\x01")));
        QVERIFY(!isFieldValue(QStringLiteral("a\x7f")));
        QVERIFY(!isFieldValue(QStringLiteral("a\rb")));
        QVERIFY(!isFieldValue(QStringLiteral("a\nb")));
        QVERIFY(!isFieldValue(QStringLiteral("a") + QChar(0)));
    }
};

QTEST_APPLESS_MAIN(TestResponseHead)
#include "tst_responsehead.moc"
