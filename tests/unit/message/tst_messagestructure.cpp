#include "message/messagestructure.h"
#include "support/logcapture.h"

#include <QtTest/QtTest>
#include <limits>

namespace {

const QString structureCategory =
    QStringLiteral("ch.brenlo.kavo.z9.common.structure.chunk.addmessage");
const QString timestampCategory =
    QStringLiteral("ch.brenlo.kavo.kavo-service.api.util.structure.qstring.timestamp");

QJsonObject json(const char *text)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(text));
    if (!document.isObject())
        qFatal("The test's JSON is no object: %s", text);
    return document.object();
}

QJsonArray array(const char *text)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(text));
    if (!document.isArray())
        qFatal("The test's JSON is no array: %s", text);
    return document.array();
}

/// A message object with the required members and one more.
QJsonObject messageWith(const char *key, const QJsonValue &value)
{
    QJsonObject object = json(R"({"id": "i", "title": "t", "text": "x"})");
    object.insert(QLatin1String(key), value);
    return object;
}

QJsonObject messageOfType(const QString &type, const QJsonValue &lifetime)
{
    QJsonObject object = messageWith("type", type);
    object.insert(QStringLiteral("lifetime"), lifetime);
    return object;
}

Message read(const QJsonObject &object)
{
    Message message;
    if (!messageFromJson(object, message))
        qFatal("The test's message was rejected");
    return message;
}

} // namespace

Q_DECLARE_METATYPE(MessageLifetime)

class tst_MessageStructure : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chunkOfTheExchangeYieldsItsMessages();
    void chunkOfAnotherExchangeYieldsNoMessagesAndNoLog_data();
    void chunkOfAnotherExchangeYieldsNoMessagesAndNoLog();
    void chunkWhoseMessagesAreNoArrayIsLoggedAndYieldsNone_data();
    void chunkWhoseMessagesAreNoArrayIsLoggedAndYieldsNone();
    void chunkWhoseMessagesAreNoArrayLogsNothingWhenDebugIsOff();

    void everyMemberIsRead();
    void messageWithoutSubtitleAndTimestampIsWrittenBackWithEmptyOnes();
    void messageWithoutARequiredStringIsRejected_data();
    void messageWithoutARequiredStringIsRejected();
    void rejectedMessageHoldsWhatWasReadBefore();
    void messageWithATitleThatIsANumberIsDroppedAndTheOthersAreKept();
    void elementsThatAreNoObjectsAreSkippedWithoutALog();
    void messagesAreAppendedToTheList();
    void subtitleThatIsNoStringIsLeftEmpty();

    void timestampThatDoesNotParseIsWarnedAboutAndLeftOut_data();
    void timestampThatDoesNotParseIsWarnedAboutAndLeftOut();
    void timestampThatIsNoStringIsIgnoredWithoutALog();

    void lifetimeIsReadFromTheTypeText_data();
    void lifetimeIsReadFromTheTypeText();
    void typeThatIsNoStringIsMomentary();
    void customLifetimeIsReadAsADecimalNumber_data();
    void customLifetimeIsReadAsADecimalNumber();

    void momentaryMessageIsWrittenWithoutType();
    void persistentMessageIsWrittenWithoutLifetime();
    void customLifetimeIsWrittenAsAString_data();
    void customLifetimeIsWrittenAsAString();
    void timestampIsWrittenInTheOneForm();
    void writtenMessageReadsBackTheSame();
    void documentHoldsTheMessagesInListOrder();
    void documentOfNoMessagesIsAnEmptyArray();

    void acknowledgementYieldsItsStringsInOrder();
    void acknowledgementThatIsAnObjectYieldsNoIds();
};

void tst_MessageStructure::chunkOfTheExchangeYieldsItsMessages()
{
    const support::LogCapture log;
    QJsonArray messages = array("[9]");
    QVERIFY(messagesArrayFromChunk(
        json(R"({"exchange": "kavo-context-add-messages", "messages": [1, {}]})"), messages));
    QCOMPARE(messages, array("[1, {}]"));
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageStructure::chunkOfAnotherExchangeYieldsNoMessagesAndNoLog_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::newRow("another") << QJsonValue(
        json(R"({"exchange": "kavo-context-add-file", "messages": []})"));
    QTest::newRow("other case") << QJsonValue(
        json(R"({"exchange": "Kavo-context-add-messages", "messages": []})"));
    QTest::newRow("none") << QJsonValue(json(R"({"messages": []})"));
    QTest::newRow("no string") << QJsonValue(
        json(R"({"exchange": ["kavo-context-add-messages"], "messages": []})"));
    QTest::newRow("not an object") << QJsonValue(array(R"(["kavo-context-add-messages"])"));
    QTest::newRow("undefined") << QJsonValue(QJsonValue::Undefined);
}

void tst_MessageStructure::chunkOfAnotherExchangeYieldsNoMessagesAndNoLog()
{
    QFETCH(QJsonValue, chunk);
    const support::LogCapture log;
    QJsonArray messages = array("[9]");
    QVERIFY(!messagesArrayFromChunk(chunk, messages));
    QCOMPARE(messages, array("[9]"));
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageStructure::chunkWhoseMessagesAreNoArrayIsLoggedAndYieldsNone_data()
{
    QTest::addColumn<QJsonValue>("messages");
    QTest::addColumn<QString>("printed");
    QTest::newRow("object") << QJsonValue(QJsonObject())
                            << QStringLiteral("QJsonValue(object, QJsonObject())");
    QTest::newRow("absent") << QJsonValue(QJsonValue::Undefined)
                            << QStringLiteral("QJsonValue(undefined)");
    QTest::newRow("string") << QJsonValue(QStringLiteral("m"))
                            << QStringLiteral("QJsonValue(string, \"m\")");
    QTest::newRow("null") << QJsonValue() << QStringLiteral("QJsonValue(null)");
}

void tst_MessageStructure::chunkWhoseMessagesAreNoArrayIsLoggedAndYieldsNone()
{
    QFETCH(QJsonValue, messages);
    QFETCH(QString, printed);
    QJsonObject chunk = json(R"({"exchange": "kavo-context-add-messages"})");
    chunk.insert(QStringLiteral("messages"), messages);
    const support::LogCapture log;
    QJsonArray taken = array("[9]");
    QVERIFY(!messagesArrayFromChunk(chunk, taken));
    QCOMPARE(taken, array("[9]"));
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().first().level, QtDebugMsg);
    QCOMPARE(log.lines().first().category, structureCategory);
    QCOMPARE(log.lines().first().message,
             QStringLiteral("Expected message array in chunk was not an array:  ") + printed);
}

void tst_MessageStructure::chunkWhoseMessagesAreNoArrayLogsNothingWhenDebugIsOff()
{
    const support::LogCapture log(QStringLiteral("*.debug=false"));
    QJsonArray taken;
    QVERIFY(!messagesArrayFromChunk(
        json(R"({"exchange": "kavo-context-add-messages", "messages": {}})"), taken));
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageStructure::everyMemberIsRead()
{
    const Message message = read(json(R"({"id": "i", "title": "t", "subtitle": "s", "text": "x",
                      "timestamp": "2020-01-21T14:05:09", "type": "customlifetime",
                      "lifetime": "30"})"));
    QCOMPARE(message.id, QStringLiteral("i"));
    QCOMPARE(message.title, QStringLiteral("t"));
    QCOMPARE(message.subtitle, QStringLiteral("s"));
    QCOMPARE(message.text, QStringLiteral("x"));
    QCOMPARE(message.timestamp, QDateTime(QDate(2020, 1, 21), QTime(14, 5, 9)));
    QVERIFY(message.lifetimeKind == MessageLifetime::CustomLifetime);
    QCOMPARE(message.customLifetime, Q_INT64_C(30));
}

void tst_MessageStructure::messageWithoutSubtitleAndTimestampIsWrittenBackWithEmptyOnes()
{
    const support::LogCapture log;
    const Message message = read(json(R"({"id": "i", "title": "t", "text": "x"})"));
    QVERIFY(!message.timestamp.isValid());
    QCOMPARE(messageToJson(message), json(R"({"id": "i", "title": "t", "subtitle": "", "text": "x",
                                              "timestamp": ""})"));
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageStructure::messageWithoutARequiredStringIsRejected_data()
{
    QTest::addColumn<QJsonObject>("object");
    for (const char *key : {"id", "title", "text"}) {
        QTest::addRow("no %s", key) << messageWith(key, QJsonValue::Undefined);
        QTest::addRow("%s a number", key) << messageWith(key, 5);
        QTest::addRow("%s null", key) << messageWith(key, QJsonValue());
    }
}

void tst_MessageStructure::messageWithoutARequiredStringIsRejected()
{
    QFETCH(QJsonObject, object);
    const support::LogCapture log;
    Message message;
    QVERIFY(!messageFromJson(object, message));
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageStructure::rejectedMessageHoldsWhatWasReadBefore()
{
    QJsonObject object = json(R"({"id": "i", "title": "t", "subtitle": "s",
                                  "timestamp": "2020-01-21T14:05:09", "type": "persistent"})");
    Message withoutText;
    QVERIFY(!messageFromJson(object, withoutText));
    QCOMPARE(withoutText.id, QStringLiteral("i"));
    QCOMPARE(withoutText.title, QStringLiteral("t"));
    QCOMPARE(withoutText.subtitle, QStringLiteral("s"));
    QVERIFY(withoutText.timestamp.isNull());
    QVERIFY(withoutText.lifetimeKind == MessageLifetime::Momentary);

    object.remove(QStringLiteral("title"));
    Message withoutTitle;
    QVERIFY(!messageFromJson(object, withoutTitle));
    QCOMPARE(withoutTitle.id, QStringLiteral("i"));
    QVERIFY(withoutTitle.subtitle.isEmpty());
}

void tst_MessageStructure::messageWithATitleThatIsANumberIsDroppedAndTheOthersAreKept()
{
    QVector<Message> messages;
    messagesFromArray(array(R"([{"id": "1", "title": "t", "text": "x"},
                                {"id": "2", "title": 2, "text": "x"},
                                {"id": "3", "title": "t", "text": "x"}])"),
                      messages);
    QCOMPARE(messages.size(), 2);
    QCOMPARE(messages.at(0).id, QStringLiteral("1"));
    QCOMPARE(messages.at(1).id, QStringLiteral("3"));
}

void tst_MessageStructure::elementsThatAreNoObjectsAreSkippedWithoutALog()
{
    const support::LogCapture log;
    QVector<Message> messages;
    messagesFromArray(array(R"([1, "a", null, [], {}])"), messages);
    QVERIFY(messages.isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageStructure::messagesAreAppendedToTheList()
{
    QVector<Message> messages(1);
    messagesFromArray(array(R"([{"id": "1", "title": "t", "text": "x"}])"), messages);
    QCOMPARE(messages.size(), 2);
    QCOMPARE(messages.at(0).id, QString());
    QCOMPARE(messages.at(1).id, QStringLiteral("1"));
}

void tst_MessageStructure::subtitleThatIsNoStringIsLeftEmpty()
{
    QCOMPARE(read(messageWith("subtitle", 5)).subtitle, QString());
}

void tst_MessageStructure::timestampThatDoesNotParseIsWarnedAboutAndLeftOut_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("fraction") << QStringLiteral("2020-01-21T14:05:09.123");
    QTest::newRow("zone") << QStringLiteral("2020-01-21T14:05:09Z");
    QTest::newRow("empty") << QString();
}

void tst_MessageStructure::timestampThatDoesNotParseIsWarnedAboutAndLeftOut()
{
    QFETCH(QString, text);
    const support::LogCapture log;
    const Message message = read(messageWith("timestamp", text));
    QVERIFY(message.timestamp.isNull());
    QCOMPARE(message.text, QStringLiteral("x"));
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.contains(
        QtWarningMsg, timestampCategory,
        QStringLiteral("Unexpected invalid date format found in string:  \"%1\"").arg(text)));
}

void tst_MessageStructure::timestampThatIsNoStringIsIgnoredWithoutALog()
{
    const support::LogCapture log;
    QVERIFY(!read(messageWith("timestamp", 1579611909)).timestamp.isValid());
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageStructure::lifetimeIsReadFromTheTypeText_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QJsonValue>("lifetime");
    QTest::addColumn<MessageLifetime>("kind");
    const QJsonValue thirty(QStringLiteral("30"));
    QTest::newRow("momentary") << QStringLiteral("momentary") << thirty
                               << MessageLifetime::Momentary;
    QTest::newRow("persistent") << QStringLiteral("persistent") << thirty
                                << MessageLifetime::Persistent;
    QTest::newRow("capital P") << QStringLiteral("Persistent") << thirty
                               << MessageLifetime::Momentary;
    QTest::newRow("unknown") << QStringLiteral("eternal") << thirty << MessageLifetime::Momentary;
    QTest::newRow("empty") << QString() << thirty << MessageLifetime::Momentary;
    QTest::newRow("custom") << QStringLiteral("customlifetime") << thirty
                            << MessageLifetime::CustomLifetime;
    QTest::newRow("custom, a number")
        << QStringLiteral("customlifetime") << QJsonValue(30) << MessageLifetime::Momentary;
    QTest::newRow("custom, none") << QStringLiteral("customlifetime")
                                  << QJsonValue(QJsonValue::Undefined)
                                  << MessageLifetime::Momentary;
}

void tst_MessageStructure::lifetimeIsReadFromTheTypeText()
{
    QFETCH(QString, type);
    QFETCH(QJsonValue, lifetime);
    QFETCH(MessageLifetime, kind);
    const Message message = read(messageOfType(type, lifetime));
    QVERIFY(message.lifetimeKind == kind);
    QCOMPARE(message.customLifetime,
             kind == MessageLifetime::CustomLifetime ? Q_INT64_C(30) : Q_INT64_C(0));
}

void tst_MessageStructure::typeThatIsNoStringIsMomentary()
{
    QVERIFY(read(messageWith("type", 2)).lifetimeKind == MessageLifetime::Momentary);
    QVERIFY(read(messageWith("type", array(R"(["persistent"])"))).lifetimeKind ==
            MessageLifetime::Momentary);
}

void tst_MessageStructure::customLifetimeIsReadAsADecimalNumber_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("expected");
    QTest::newRow("abc") << QStringLiteral("abc") << Q_INT64_C(0);
    QTest::newRow("empty") << QString() << Q_INT64_C(0);
    QTest::newRow("negative") << QStringLiteral("-5") << Q_INT64_C(-5);
    QTest::newRow("plus and blanks") << QStringLiteral(" +7 ") << Q_INT64_C(7);
    QTest::newRow("fraction") << QStringLiteral("1.5") << Q_INT64_C(0);
    QTest::newRow("hexadecimal") << QStringLiteral("0x10") << Q_INT64_C(0);
    QTest::newRow("leading zero") << QStringLiteral("010") << Q_INT64_C(10);
    QTest::newRow("largest") << QStringLiteral("9223372036854775807")
                             << std::numeric_limits<qint64>::max();
    QTest::newRow("too large") << QStringLiteral("9223372036854775808") << Q_INT64_C(0);
}

void tst_MessageStructure::customLifetimeIsReadAsADecimalNumber()
{
    QFETCH(QString, text);
    QFETCH(qint64, expected);
    const Message message = read(messageOfType(QStringLiteral("customlifetime"), text));
    QVERIFY(message.lifetimeKind == MessageLifetime::CustomLifetime);
    QCOMPARE(message.customLifetime, expected);
}

void tst_MessageStructure::momentaryMessageIsWrittenWithoutType()
{
    const Message message = read(messageOfType(QStringLiteral("momentary"), QStringLiteral("30")));
    QCOMPARE(messageToJson(message), json(R"({"id": "i", "title": "t", "subtitle": "", "text": "x",
                                              "timestamp": ""})"));
}

void tst_MessageStructure::persistentMessageIsWrittenWithoutLifetime()
{
    const Message message = read(messageOfType(QStringLiteral("persistent"), QStringLiteral("30")));
    QCOMPARE(messageToJson(message), json(R"({"id": "i", "title": "t", "subtitle": "", "text": "x",
                                              "timestamp": "", "type": "persistent"})"));
}

void tst_MessageStructure::customLifetimeIsWrittenAsAString_data()
{
    QTest::addColumn<qint64>("lifetime");
    QTest::addColumn<QString>("text");
    QTest::newRow("30") << Q_INT64_C(30) << QStringLiteral("30");
    QTest::newRow("negative") << Q_INT64_C(-5) << QStringLiteral("-5");
    QTest::newRow("smallest") << std::numeric_limits<qint64>::min()
                              << QStringLiteral("-9223372036854775808");
}

void tst_MessageStructure::customLifetimeIsWrittenAsAString()
{
    QFETCH(qint64, lifetime);
    QFETCH(QString, text);
    Message message;
    message.lifetimeKind = MessageLifetime::CustomLifetime;
    message.customLifetime = lifetime;
    const QJsonObject written = messageToJson(message);
    QCOMPARE(written.value(QStringLiteral("type")), QJsonValue(QStringLiteral("customlifetime")));
    QCOMPARE(written.value(QStringLiteral("lifetime")), QJsonValue(text));
}

void tst_MessageStructure::timestampIsWrittenInTheOneForm()
{
    Message message;
    message.timestamp = QDateTime(QDate(2020, 1, 21), QTime(14, 5, 9, 999));
    QCOMPARE(messageToJson(message).value(QStringLiteral("timestamp")),
             QJsonValue(QStringLiteral("2020-01-21T14:05:09")));
}

void tst_MessageStructure::writtenMessageReadsBackTheSame()
{
    const char *const kinds[] = {"momentary", "customlifetime", "persistent"};
    for (const char *kind : kinds) {
        QJsonObject object = messageOfType(QLatin1String(kind), QStringLiteral("30"));
        object.insert(QStringLiteral("timestamp"), QStringLiteral("2020-01-21T14:05:09"));
        const QJsonObject written = messageToJson(read(object));
        QCOMPARE(messageToJson(read(written)), written);
        QVERIFY(read(written).lifetimeKind == read(object).lifetimeKind);
    }
}

void tst_MessageStructure::documentHoldsTheMessagesInListOrder()
{
    QVector<Message> messages;
    messagesFromArray(array(R"([{"id": "b", "title": "t", "text": "x"},
                                {"id": "a", "title": "t", "text": "x"}])"),
                      messages);
    const QJsonDocument document = messagesToDocument(messages);
    QVERIFY(document.isArray());
    QCOMPARE(document.array(),
             (QJsonArray{messageToJson(messages.at(0)), messageToJson(messages.at(1))}));
    QCOMPARE(document.array().at(0).toObject().value(QStringLiteral("id")),
             QJsonValue(QStringLiteral("b")));
}

void tst_MessageStructure::documentOfNoMessagesIsAnEmptyArray()
{
    const QJsonDocument document = messagesToDocument({});
    QVERIFY(document.isArray());
    QVERIFY(document.array().isEmpty());
}

void tst_MessageStructure::acknowledgementYieldsItsStringsInOrder()
{
    QJsonArray ids;
    QVERIFY(arrayFromDocument(QJsonDocument::fromJson(R"(["b", 1, "a", null, [], "b"])"), ids));
    QStringList list{QStringLiteral("first")};
    stringListFromArray(ids, list);
    QCOMPARE(list, (QStringList{QStringLiteral("first"), QStringLiteral("b"), QStringLiteral("a"),
                                QStringLiteral("b")}));
}

void tst_MessageStructure::acknowledgementThatIsAnObjectYieldsNoIds()
{
    QJsonArray ids = array("[9]");
    QVERIFY(!arrayFromDocument(QJsonDocument::fromJson(R"({"0": "a"})"), ids));
    QVERIFY(!arrayFromDocument(QJsonDocument::fromJson("no JSON"), ids));
    QCOMPARE(ids, array("[9]"));
}

QTEST_GUILESS_MAIN(tst_MessageStructure)
#include "tst_messagestructure.moc"
