#include "message/messageservice.h"
#include "message/messagestructure.h"
#include "support/logcapture.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaMethod>
#include <QtTest/QSignalSpy>
#include <QtTest/QtTest>

namespace {

Message message(const char *id, const char *title = "title")
{
    Message made;
    made.id = QLatin1String(id);
    made.title = QLatin1String(title);
    return made;
}

QStringList ids(const QJsonDocument &document)
{
    QStringList list;
    const QJsonArray elements = document.array();
    for (const QJsonValue &element : elements)
        list << element.toObject().value(QStringLiteral("id")).toString();
    return list;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

} // namespace

class tst_MessageService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyStoreYieldsAnEmptyArrayAndHasNoMessages();
    void addedMessageIsReturnedWithAllItsFields();
    void twoMessagesOfOneIdLeaveTheSecondAndEmitTwice();
    void everyAddedMessageEmits();
    void messageIsStoredBeforeTheSignal();
    void unknownIdsAreRemovedWithoutEffectAndWithoutSignal();
    void removalTakesTheNamedMessagesAndEmitsNothing();
    void idsAreRemovedFromAnEmptyStore();
    void fetchingTwiceReturnsTheSame();
    void momentaryMessageStaysUntilRemoved();
    void emptyIdIsAnIdLikeAnyOther();
    void messageThatWasRemovedCanBeAddedAgain();
    void messagesComeInTheOrderOfTheIdSet();
    void additionIsLoggedAtDebugLevel();
    void additionLogsNothingWhenDebugIsOff();
    void messageStartsMomentaryAndEmpty();
    void lifetimesHaveTheirNumbers();
    void serviceHasOneSignalAndNoSlots();
};

void tst_MessageService::emptyStoreYieldsAnEmptyArrayAndHasNoMessages()
{
    const MessageService service;
    QVERIFY(service.messagesDocument().isArray());
    QCOMPARE(service.messagesDocument().array(), QJsonArray());
    QVERIFY(!service.hasMessages());
}

void tst_MessageService::addedMessageIsReturnedWithAllItsFields()
{
    MessageService service;
    Message added = message("1");
    added.subtitle = QStringLiteral("sub");
    added.text = QStringLiteral("text");
    added.timestamp = QDateTime(QDate(2020, 1, 21), QTime(14, 5, 9));
    added.lifetimeKind = MessageLifetime::CustomLifetime;
    added.customLifetime = 30;
    service.addMessage(added);
    QVERIFY(service.hasMessages());
    QCOMPARE(service.messagesDocument().array(), QJsonArray{messageToJson(added)});
}

void tst_MessageService::twoMessagesOfOneIdLeaveTheSecondAndEmitTwice()
{
    MessageService service;
    const QSignalSpy available(&service, &MessageService::messagesAvailable);
    Message first = message("1", "first");
    first.subtitle = QStringLiteral("sub");
    first.lifetimeKind = MessageLifetime::Persistent;
    first.timestamp = QDateTime(QDate(2020, 1, 21), QTime(14, 5, 9));
    service.addMessage(first);
    const Message second = message("1", "second");
    service.addMessage(second);
    QCOMPARE(service.messagesDocument().array(), QJsonArray{messageToJson(second)});
    QCOMPARE(available.count(), 2);
}

void tst_MessageService::everyAddedMessageEmits()
{
    MessageService service;
    const QSignalSpy available(&service, &MessageService::messagesAvailable);
    for (const char *id : {"1", "2", "3"})
        service.addMessage(message(id));
    QCOMPARE(available.count(), 3);
}

void tst_MessageService::messageIsStoredBeforeTheSignal()
{
    MessageService service;
    QStringList seen;
    connect(&service, &MessageService::messagesAvailable, this,
            [&] { seen << ids(service.messagesDocument()).join(QLatin1Char(',')); });
    service.addMessage(message("1"));
    QCOMPARE(seen, QStringList{QStringLiteral("1")}); // before addMessage returned
}

void tst_MessageService::unknownIdsAreRemovedWithoutEffectAndWithoutSignal()
{
    MessageService service;
    service.addMessage(message("1"));
    const QSignalSpy available(&service, &MessageService::messagesAvailable);
    const QJsonDocument before = service.messagesDocument();
    service.removeMessages({QStringLiteral("2"), QString(), QStringLiteral("3")});
    QCOMPARE(service.messagesDocument(), before);
    QCOMPARE(available.count(), 0);
}

void tst_MessageService::removalTakesTheNamedMessagesAndEmitsNothing()
{
    MessageService service;
    for (const char *id : {"1", "2", "3"})
        service.addMessage(message(id));
    const QSignalSpy available(&service, &MessageService::messagesAvailable);
    service.removeMessages({QStringLiteral("3"), QStringLiteral("1"), QStringLiteral("3")});
    QCOMPARE(ids(service.messagesDocument()), QStringList{QStringLiteral("2")});
    QVERIFY(service.hasMessages());
    service.removeMessages({QStringLiteral("2")});
    QCOMPARE(service.messagesDocument().array(), QJsonArray());
    QVERIFY(!service.hasMessages());
    QCOMPARE(available.count(), 0);
}

void tst_MessageService::idsAreRemovedFromAnEmptyStore()
{
    MessageService service;
    service.removeMessages({QStringLiteral("1")});
    QVERIFY(!service.hasMessages());
}

void tst_MessageService::fetchingTwiceReturnsTheSame()
{
    MessageService service;
    for (const char *id : {"1", "2", "3"})
        service.addMessage(message(id));
    const QJsonDocument first = service.messagesDocument();
    QCOMPARE(first.array().size(), 3);
    QCOMPARE(service.messagesDocument(), first);
}

void tst_MessageService::momentaryMessageStaysUntilRemoved()
{
    MessageService service;
    Message persistent = message("p");
    persistent.lifetimeKind = MessageLifetime::Persistent;
    service.addMessage(persistent);
    service.addMessage(message("m"));
    const QStringList both{QStringLiteral("m"), QStringLiteral("p")};
    QCOMPARE(sorted(ids(service.messagesDocument())), both);
    QCOMPARE(sorted(ids(service.messagesDocument())), both);
    service.removeMessages({QStringLiteral("m")});
    QCOMPARE(ids(service.messagesDocument()), QStringList{QStringLiteral("p")});
}

void tst_MessageService::emptyIdIsAnIdLikeAnyOther()
{
    MessageService service;
    service.addMessage(message(""));
    QVERIFY(service.hasMessages());
    QCOMPARE(ids(service.messagesDocument()), QStringList{QString()});
    service.removeMessages({QString()});
    QVERIFY(!service.hasMessages());
}

void tst_MessageService::messageThatWasRemovedCanBeAddedAgain()
{
    MessageService service;
    service.addMessage(message("1"));
    service.removeMessages({QStringLiteral("1")});
    service.addMessage(message("1", "again"));
    QCOMPARE(service.messagesDocument().array(), QJsonArray{messageToJson(message("1", "again"))});
}

void tst_MessageService::messagesComeInTheOrderOfTheIdSet()
{
    MessageService service;
    QSet<QString> sameHistory;
    for (int i = 0; i < 50; ++i) {
        const QByteArray id = QByteArray::number(i);
        service.addMessage(message(id.constData()));
        sameHistory.insert(QString::fromLatin1(id));
    }
    service.removeMessages({QStringLiteral("7"), QStringLiteral("23")});
    sameHistory.remove(QStringLiteral("7"));
    sameHistory.remove(QStringLiteral("23"));
    QCOMPARE(ids(service.messagesDocument()), QStringList(sameHistory.values()));
}

void tst_MessageService::additionIsLoggedAtDebugLevel()
{
    MessageService service;
    const support::LogCapture log;
    service.addMessage(message("1", "A title"));
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.contains(QtDebugMsg,
                         QStringLiteral("ch.brenlo.kavo-service.context.messageservice"),
                         QStringLiteral("Adding message with title  \"A title\"")));
}

void tst_MessageService::additionLogsNothingWhenDebugIsOff()
{
    MessageService service;
    const support::LogCapture log(QStringLiteral("*.debug=false"));
    service.addMessage(message("1", "A title"));
    QVERIFY(log.lines().isEmpty());
}

void tst_MessageService::messageStartsMomentaryAndEmpty()
{
    const Message made;
    QVERIFY(made.id.isEmpty() && made.title.isEmpty());
    QVERIFY(made.subtitle.isEmpty() && made.text.isEmpty());
    QVERIFY(made.lifetimeKind == MessageLifetime::Momentary);
    QVERIFY(made.timestamp.isNull());
    QCOMPARE(made.customLifetime, Q_INT64_C(0));
}

void tst_MessageService::lifetimesHaveTheirNumbers()
{
    static_assert(sizeof(MessageLifetime) == sizeof(qint32));
    QCOMPARE(static_cast<qint32>(MessageLifetime::Momentary), 0);
    QCOMPARE(static_cast<qint32>(MessageLifetime::CustomLifetime), 1);
    QCOMPARE(static_cast<qint32>(MessageLifetime::Persistent), 2);
}

void tst_MessageService::serviceHasOneSignalAndNoSlots()
{
    const QMetaObject &meta = MessageService::staticMetaObject;
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
    const QMetaMethod method = meta.method(meta.methodOffset());
    QVERIFY(method.methodType() == QMetaMethod::Signal);
    QCOMPARE(method.methodSignature(), QByteArray("messagesAvailable()"));
}

QTEST_GUILESS_MAIN(tst_MessageService)
#include "tst_messageservice.moc"
