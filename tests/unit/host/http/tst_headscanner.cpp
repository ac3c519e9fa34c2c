#include "http/headscanner.h"

#include <QtTest/QtTest>

using namespace host;

class TestHeadScanner : public QObject
{
    Q_OBJECT

    static HeadScanner::Result scanAll(const QByteArray &bytes, std::size_t *headSize = nullptr)
    {
        HeadScanner scanner;
        const auto result = scanner.scan(bytes.constData(), std::size_t(bytes.size()), {});
        if (headSize)
            *headSize = scanner.headSize();
        return result;
    }

    // The same bytes, one more at each call.
    static HeadScanner::Result scanBytewise(const QByteArray &bytes, std::size_t *headSize)
    {
        HeadScanner scanner;
        for (int size = 1; size <= bytes.size(); ++size) {
            const auto result = scanner.scan(bytes.constData(), std::size_t(size), {});
            *headSize = scanner.headSize();
            if (result != HeadScanner::Incomplete)
                return result;
        }
        return HeadScanner::Incomplete;
    }

private Q_SLOTS:
    void results_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("result");
        const QByteArray get("GET / HTTP/1.1\r\n");
        QTest::newRow("whole") << get + "Host: a\r\n\r\n" << int(HeadScanner::Complete);
        QTest::newRow("no fields") << get + "\r\n" << int(HeadScanner::Complete);
        QTest::newRow("half") << get + "Host: a\r\n" << int(HeadScanner::Incomplete);
        QTest::newRow("CR waits for LF") << get + "\r" << int(HeadScanner::Incomplete);
        QTest::newRow("bare LF ends the request line")
            << QByteArray("GET / HTTP/1.1\n") << int(HeadScanner::BadLineEnd);
        QTest::newRow("bare LF ends a field") << get + "Host: a\n\r\n"
                                              << int(HeadScanner::BadLineEnd);
        QTest::newRow("bare LF is the empty line") << get + "\n" << int(HeadScanner::BadLineEnd);
        QTest::newRow("LF is the first byte") << QByteArray("\n") << int(HeadScanner::BadLineEnd);
        QTest::newRow("fold with a blank") << get + "A: b\r\n c\r\n\r\n"
                                           << int(HeadScanner::FoldedField);
        QTest::newRow("fold with a tab") << get + "A: b\r\n\tc\r\n\r\n"
                                         << int(HeadScanner::FoldedField);
        QTest::newRow("blank before the first field") << get + " A: b\r\n\r\n"
                                                      << int(HeadScanner::FoldedField);
    }

    void results()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, result);
        std::size_t atOnce = 0;
        std::size_t bytewise = 0;
        QCOMPARE(int(scanAll(bytes, &atOnce)), result);
        QCOMPARE(int(scanBytewise(bytes, &bytewise)), result);
        QCOMPARE(bytewise, atOnce);
        if (result == HeadScanner::Complete)
            QCOMPARE(atOnce, std::size_t(bytes.size()));
    }

    void stopsBehindTheHead()
    {
        const QByteArray head("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
        std::size_t size = 0;
        QCOMPARE(scanAll(head + "POST / HTTP/1.1\n", &size), HeadScanner::Complete);
        QCOMPARE(size, std::size_t(head.size()));
    }

    void requestLineMayBeAsLongAsItsLimit()
    {
        const ServerLimits limits;
        QByteArray line = "GET /" + QByteArray(limits.requestLine - 14, 'a') + " HTTP/1.1";
        QCOMPARE(line.size(), limits.requestLine);
        std::size_t size = 0;
        QCOMPARE(scanBytewise(line + "\r\n\r\n", &size), HeadScanner::Complete);
        QCOMPARE(scanBytewise("X" + line + "\r\n\r\n", &size), HeadScanner::RequestLineTooLong);
        QCOMPARE(scanAll("X" + line + "\r\n\r\n"), HeadScanner::RequestLineTooLong);
        QCOMPARE(scanAll("X" + line), HeadScanner::RequestLineTooLong);
    }

    void headerSectionMayBeAsLargeAsItsLimit()
    {
        const ServerLimits limits;
        const QByteArray get("GET / HTTP/1.1\r\n");
        const QByteArray field = "A: " + QByteArray(limits.headerSection - 5, 'b') + "\r\n";
        QCOMPARE(field.size(), limits.headerSection);
        std::size_t size = 0;
        QCOMPARE(scanBytewise(get + field + "\r\n", &size), HeadScanner::Complete);
        QCOMPARE(scanBytewise(get + "X" + field + "\r\n", &size),
                 HeadScanner::HeaderSectionTooLong);
        QCOMPARE(scanAll(get + "X" + field + "\r\n"), HeadScanner::HeaderSectionTooLong);
    }
};

QTEST_APPLESS_MAIN(TestHeadScanner)
#include "tst_headscanner.moc"
