#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

using namespace support;

namespace {

const char fileBytes[] = "%PDF-1.4 not really";

QByteArray multipartBody()
{
    return QByteArray("--sep\r\nContent-Disposition: form-data; name=\"f\"; filename=\"x.pdf\"\r\n"
                      "\r\n") +
           fileBytes + "\r\n--sep--\r\n";
}

} // namespace

/// Values that a client chooses and that go into header fields of an answer.
class HeaderValuesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_host.reset(); }

    void nameThatWouldBreakTheHeadStaysEncoded_data();
    void nameThatWouldBreakTheHeadStaysEncoded();
    void otherNamesStandInTheHead_data();
    void otherNamesStandInTheHead();

private:
    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
};

void HeaderValuesTest::initTestCase()
{
    m_host = std::make_unique<HostProcess>();
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
    const HttpFields type{{"Content-Type", "multipart/form-data; boundary=sep"}};
    QCOMPARE(m_client->exchange("POST", "/context/files/file", type, multipartBody()).status, 204);
}

void HeaderValuesTest::nameThatWouldBreakTheHeadStaysEncoded_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("CR LF") << QByteArray("a%0D%0AInjected:1");
    QTest::newRow("CR LF twice, then a body") << QByteArray("a%0D%0A%0D%0AInjected");
    QTest::newRow("LF") << QByteArray("a%0AInjected:1");
    QTest::newRow("CR") << QByteArray("a%0DInjected:1");
    QTest::newRow("NUL") << QByteArray("a%00Injected");
}

void HeaderValuesTest::nameThatWouldBreakTheHeadStaysEncoded()
{
    QFETCH(QByteArray, name);
    const HttpResponse response =
        m_client->exchange("GET", "/context/files/file/x.pdf?download=true&filename=" + name);
    QCOMPARE(response.status, 200);
    QCOMPARE(response.field("Content-Type"), QByteArray("application/octet-stream"));
    QCOMPARE(response.field("Content-Disposition"), "attachment; filename=" + name + ';');
    QCOMPARE(response.count("Injected"), 0);
    QCOMPARE(response.body, QByteArray(fileBytes));
    QCOMPARE(m_client->exchange("GET", "/health").status, 200);
}

void HeaderValuesTest::otherNamesStandInTheHead_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QByteArray>("disposition");
    QTest::newRow("a plain name") << QByteArray("&filename=y.pdf")
                                  << QByteArray("attachment; filename=y.pdf;");
    QTest::newRow("letters beyond ASCII") << QByteArray("&filename=M%C3%BCller.pdf")
                                          << QByteArray("attachment; filename=M\xc3\xbcller.pdf;");
    QTest::newRow("blanks and quotation marks")
        << QByteArray("&filename=a%20%22b%22") << QByteArray("attachment; filename=a \"b\";");
    QTest::newRow("none") << QByteArray("") << QByteArray("attachment");
}

void HeaderValuesTest::otherNamesStandInTheHead()
{
    QFETCH(QByteArray, query);
    QFETCH(QByteArray, disposition);
    const HttpResponse response =
        m_client->exchange("GET", "/context/files/file/x.pdf?download=true" + query);
    QCOMPARE(response.status, 200);
    QCOMPARE(response.field("Content-Disposition"), disposition);
    QCOMPARE(response.body, QByteArray(fileBytes));
}

QTEST_GUILESS_MAIN(HeaderValuesTest)
#include "tst_header_values.moc"
