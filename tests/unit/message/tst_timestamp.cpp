#include "message/timestamp.h"
#include "support/logcapture.h"

#include <QtTest/QtTest>

namespace {

const QString category =
    QStringLiteral("ch.brenlo.kavo.kavo-service.api.util.structure.qstring.timestamp");

} // namespace

class tst_Timestamp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isWrittenInTheOneForm();
    void invalidTimestampIsWrittenAsAnEmptyText();
    void isReadAsLocalTimeWithoutALogLine();
    void textOfAnotherFormIsRefusedWithAWarning_data();
    void textOfAnotherFormIsRefusedWithAWarning();
    void refusedTextLogsNothingWhenWarningsAreOff();
};

void tst_Timestamp::isWrittenInTheOneForm()
{
    const QDateTime moment(QDate(2020, 1, 2), QTime(4, 5, 9, 123));
    QCOMPARE(timestampToString(moment), QStringLiteral("2020-01-02T04:05:09"));
}

void tst_Timestamp::invalidTimestampIsWrittenAsAnEmptyText()
{
    QCOMPARE(timestampToString(QDateTime()), QString());
}

void tst_Timestamp::isReadAsLocalTimeWithoutALogLine()
{
    const support::LogCapture log;
    QDateTime moment;
    QVERIFY(timestampFromString(QStringLiteral("2020-01-21T14:05:09"), moment));
    QCOMPARE(moment, QDateTime(QDate(2020, 1, 21), QTime(14, 5, 9)));
    QCOMPARE(moment.timeSpec(), Qt::LocalTime);
    QVERIFY(log.lines().isEmpty());
}

void tst_Timestamp::textOfAnotherFormIsRefusedWithAWarning_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text :
         {"2020-01-21T14:05:09.123", "2020-01-21T14:05:09Z", "2020-01-21T14:05:09+01:00",
          "2020-01-21 14:05:09", "2020-01-21t14:05:09", "2020-01-21T14:05", "2020-01-21",
          "20-01-21T14:05:09", "2020-1-21T14:05:09", "2020-02-30T14:05:09", "2020-01-21T24:00:00",
          " 2020-01-21T14:05:09", "2020-01-21T14:05:09 ", "2020-01-21T02:05:09 PM", ""})
        QTest::addRow("\"%s\"", text) << QString::fromLatin1(text);
}

void tst_Timestamp::textOfAnotherFormIsRefusedWithAWarning()
{
    QFETCH(QString, text);
    const support::LogCapture log;
    QDateTime moment(QDate(2020, 1, 21), QTime(14, 5, 9));
    QVERIFY(!timestampFromString(text, moment));
    QVERIFY(!moment.isValid());
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().first().level, QtWarningMsg);
    QCOMPARE(log.lines().first().category, category);
    QCOMPARE(log.lines().first().message,
             QStringLiteral("Unexpected invalid date format found in string:  \"%1\"").arg(text));
}

void tst_Timestamp::refusedTextLogsNothingWhenWarningsAreOff()
{
    const support::LogCapture log(QStringLiteral("*.warning=false"));
    QDateTime moment;
    QVERIFY(!timestampFromString(QStringLiteral("soon"), moment));
    QVERIFY(log.lines().isEmpty());
}

QTEST_GUILESS_MAIN(tst_Timestamp)
#include "tst_timestamp.moc"
