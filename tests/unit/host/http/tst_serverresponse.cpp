#include "http/serverresponse.h"

#include <QtTest/QtTest>

using namespace host;

namespace {

/// Notes what a response hands to its connection.
class RecordingSink final : public ResponseSink
{
public:
    void sendAnswer(const ServerResponse &response, const QByteArray &body) override
    {
        ++answers;
        status = response.status();
        fields = response.fields();
        lastBody = body;
    }
    void startStream(const ServerResponse &response) override
    {
        ++streams;
        status = response.status();
    }
    void sendStream(const QByteArray &bytes) override { streamed += bytes; }
    qint64 unsentBytes() const override { return 42; }
    void cutOff() override { ++cuts; }

    int answers = 0;
    int streams = 0;
    int cuts = 0;
    int status = 0;
    QVector<ResponseField> fields;
    QByteArray lastBody;
    QByteArray streamed;
};

} // namespace

class TestServerResponse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anAnswer()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        response.setHeader(QStringLiteral("A"), QStringLiteral("b"));
        response.writeHead(201);
        QCOMPARE(sink.answers, 0);
        response.end("x");
        QCOMPARE(sink.answers, 1);
        QCOMPARE(sink.status, 201);
        QCOMPARE(sink.fields.size(), 1);
        QCOMPARE(sink.fields.first().value, QStringLiteral("b"));
        QCOMPARE(sink.lastBody, QByteArray("x"));
    }

    void theFirstHeadAndTheFirstEndCount()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        response.writeHead(404);
        response.setHeader(QStringLiteral("Late"), QStringLiteral("x"));
        response.writeHead(200);
        response.end("Context not found.");
        response.writeHead(204);
        response.end({});
        QCOMPARE(sink.answers, 1);
        QCOMPARE(sink.status, 404);
        QVERIFY(sink.fields.isEmpty());
        QCOMPARE(sink.lastBody, QByteArray("Context not found."));
    }

    void anEndWithoutAHeadIs200()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        response.end("x");
        QCOMPARE(sink.status, 200);
    }

    void settingANameAgainReplacesItsValue()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        response.setHeader(QStringLiteral("A"), QStringLiteral("1"));
        response.setHeader(QStringLiteral("a"), QStringLiteral("2"));
        response.end({});
        QCOMPARE(sink.fields.size(), 1);
        QCOMPARE(sink.fields.first().value, QStringLiteral("2"));
    }

    void aFieldThatWouldBreakTheAnswerIsLeftOut()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        QTest::ignoreMessage(QtWarningMsg,
                             "Leaving out a header field that would break the answer: "
                             "\"Content-Disposition\"");
        response.setHeader(QStringLiteral("Content-Disposition"),
                           QStringLiteral("attachment; filename=a\r\nInjected: 1;"));
        QTest::ignoreMessage(QtWarningMsg,
                             "Leaving out a header field that would break the answer: \"a b\"");
        response.setHeader(QStringLiteral("a b"), QStringLiteral("c"));
        response.end({});
        QVERIFY(sink.fields.isEmpty());
    }

    void theServersOwnFieldsCannotBeSet()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        for (const char *name :
             {"content-length", "Transfer-Encoding", "Connection", "Date", "Server"})
            response.setHeader(QLatin1String(name), QStringLiteral("1"));
        response.end({});
        QVERIFY(sink.fields.isEmpty());
    }

    void anImpossibleStatusBecomes500()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        QTest::ignoreMessage(QtWarningMsg, "Answering 500 instead of an impossible status: 42");
        response.writeHead(42);
        response.end({});
        QCOMPARE(sink.status, 500);
    }

    void aFailureAnswers500WhateverWasSetBefore()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        response.setHeader(QStringLiteral("A"), QStringLiteral("b"));
        response.writeHead(200);
        response.fail();
        QCOMPARE(sink.status, 500);
        QCOMPARE(sink.fields.size(), 1);
        QCOMPARE(sink.fields.first().name, QStringLiteral("Content-Type"));
        response.fail();
        QCOMPARE(sink.answers, 1);
    }

    void aStream()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        QVERIFY(!response.writeStream("early"));
        response.beginStream(200);
        QVERIFY(response.isStream());
        QVERIFY(response.writeStream("a"));
        QVERIFY(response.writeStream({}));
        QVERIFY(response.writeStream("b"));
        QCOMPARE(sink.streamed, QByteArray("ab"));
        QCOMPARE(response.pendingBytes(), qint64(42));
        response.end("x");
        QCOMPARE(sink.answers, 0);
        response.fail();
        QCOMPARE(sink.cuts, 1);
    }

    void aDetachedResponseDoesNothing()
    {
        RecordingSink sink;
        ServerResponse response(&sink);
        response.beginStream(200);
        response.detach();
        QVERIFY(!response.writeStream("a"));
        QCOMPARE(response.pendingBytes(), qint64(0));
        response.abort();
        response.end("x");
        QCOMPARE(sink.cuts, 0);
        QCOMPARE(sink.answers, 0);
    }
};

QTEST_APPLESS_MAIN(TestServerResponse)
#include "tst_serverresponse.moc"
