#include "chunk/addactionrequestsbehaviour.h"
#include "chunk/addmatchingitemsbehaviour.h"
#include "chunk/addmessagesbehaviour.h"
#include "chunk/chunkbehaviours.h"
#include "chunk/chunklistener.h"
#include "chunk/newcontextbehaviour.h"
#include "chunk/removeattachmentsbehaviour.h"
#include "chunk/rpccreatecontextbehaviour.h"
#include "chunk/rpcdeletecontextbehaviour.h"
#include "chunk/rpcgetfilebehaviour.h"
#include "chunk/rpcsetcontextbehaviour.h"
#include "chunk/rpcupdatecontextbehaviour.h"
#include "chunk/writecardtoxmlbehaviour.h"
#include "chunk/writefiletocontextbehaviour.h"
#include "chunk/writevekatoxmlbehaviour.h"
#include "chunkfixture.h"
#include "systemsettings.h"

#include <QtTest/QtTest>

#include <typeinfo>

namespace {

using Behaviours = std::vector<std::unique_ptr<ChunkBehaviour>>;

Behaviours behavioursFor(Stores &stores)
{
    return chunkBehaviours(&stores.cards, &stores.host, &stores.contexts, &stores.messages);
}

QStringList typeNames(const Behaviours &behaviours)
{
    QStringList names;
    for (const auto &behaviour : behaviours) {
        const ChunkBehaviour &object = *behaviour;
        names << latin1(typeid(object).name());
    }
    return names;
}

template<typename... Classes>
QStringList namesOf()
{
    return {latin1(typeid(Classes).name())...};
}

QStringList namesWithoutCards()
{
    return namesOf<WriteFileToContextBehaviour, RpcCreateContextBehaviour,
                   RpcDeleteContextBehaviour, RpcGetFileBehaviour, RpcSetContextBehaviour,
                   RpcUpdateContextBehaviour, AddMatchingItemsBehaviour, AddMessagesBehaviour,
                   AddActionRequestsBehaviour, RemoveAttachmentsBehaviour, NewContextBehaviour>();
}

/// Notes that it was offered a chunk, and what the card map knew by then.
class NotingBehaviour final : public ChunkBehaviour
{
public:
    NotingBehaviour(QString name, const CardNumberMap &cards, QStringList &notes)
        : m_name(std::move(name))
        , m_cards(cards)
        , m_notes(notes)
    {
    }

    void handle(const QJsonValue &) override
    {
        m_notes << QStringLiteral("%1 knows %2").arg(m_name).arg(m_cards.entries().size());
    }

private:
    QString m_name;
    const CardNumberMap &m_cards;
    QStringList &m_notes;
};

const char cardText[] = "<vk-adm:cardholderIdentifier>123</vk-adm:cardholderIdentifier>"
                        "<vk-adm:insuredPersonNumber>456</vk-adm:insuredPersonNumber>";

QJsonObject cardChunk()
{
    return {{latin1("source"), latin1("Kavo")}, {latin1("data"), latin1(cardText)}};
}

} // namespace

class tst_ChunkListener : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withTheSettingThereAreThirteenBehavioursInOrder();
    void settingsPresenceAloneDecides_data();
    void settingsPresenceAloneDecides();
    void withoutTheSettingThereAreElevenBehaviours();
    void settingAddedLaterDoesNotBringTheCardsBack();
    void cardsAreLearnedBeforeEachBehaviourIsOffered();
    void cardIsLearnedAndWrittenInOneDelivery();
    void cardIsLearnedWithoutTheSetting();
    void chunkThatTwoBehavioursAcceptIsHandledByBoth();
    void chunkThatNobodyAcceptsIsDroppedSilently_data();
    void chunkThatNobodyAcceptsIsDroppedSilently();
    void everyExchangeReachesItsBehaviour();
};

void tst_ChunkListener::withTheSettingThereAreThirteenBehavioursInOrder()
{
    const SystemSettings settings;
    settings.writeXmlDirectory(settings.makeDirectory(latin1("xml")));
    Stores stores;
    const QStringList expected =
        namesOf<WriteCardToXmlBehaviour, WriteVekaToXmlBehaviour>() + namesWithoutCards();
    QCOMPARE(expected.size(), 13);
    QCOMPARE(typeNames(behavioursFor(stores)), expected);
}

void tst_ChunkListener::settingsPresenceAloneDecides_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("behaviours");
    QTest::newRow("empty text") << QByteArray("xml.directory=") << 13;
    QTest::newRow("missing folder") << QByteArray("xml.directory=/nowhere/at/all") << 13;
    QTest::newRow("a list") << QByteArray("xml.directory=5,6") << 13;
    QTest::newRow("another key") << QByteArray("xml.directories=/tmp") << 11;
    QTest::newRow("no key") << QByteArray() << 11;
}

void tst_ChunkListener::settingsPresenceAloneDecides()
{
    QFETCH(QByteArray, line);
    const SystemSettings settings;
    settings.write("[ch.brenlo.kavo-service.context]\n" + line + "\n");
    Stores stores;
    QTEST(int(behavioursFor(stores).size()), "behaviours");
}

void tst_ChunkListener::withoutTheSettingThereAreElevenBehaviours()
{
    const SystemSettings settings;
    Stores stores;
    QCOMPARE(typeNames(behavioursFor(stores)), namesWithoutCards());
    QCOMPARE(namesWithoutCards().size(), 11);
    QCOMPARE(namesWithoutCards().first(), latin1(typeid(WriteFileToContextBehaviour).name()));
}

void tst_ChunkListener::settingAddedLaterDoesNotBringTheCardsBack()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    Stores stores;
    stores.contexts.setBehaviours(behavioursFor(stores));
    settings.writeXmlDirectory(directory);
    ChunkListener(&stores.cards, &stores.contexts).chunkUpdate(cardChunk());
    QVERIFY(QDir(directory).isEmpty());
}

void tst_ChunkListener::cardsAreLearnedBeforeEachBehaviourIsOffered()
{
    Stores stores;
    QStringList notes;
    Behaviours behaviours;
    for (const char *name : {"first", "second"})
        behaviours.push_back(std::make_unique<NotingBehaviour>(latin1(name), stores.cards, notes));
    stores.contexts.setBehaviours(std::move(behaviours));
    ChunkListener listener(&stores.cards, &stores.contexts);
    listener.chunkUpdate(cardChunk());
    listener.chunkUpdate(json("[]"));
    const QStringList expected{latin1("first knows 1"), latin1("second knows 1"),
                               latin1("first knows 1"), latin1("second knows 1")};
    QCOMPARE(notes, expected);
}

void tst_ChunkListener::cardIsLearnedAndWrittenInOneDelivery()
{
    const SystemSettings settings;
    const QString directory = settings.makeDirectory(latin1("xml"));
    settings.writeXmlDirectory(directory);
    Stores stores;
    stores.contexts.setBehaviours(behavioursFor(stores));
    ChunkListener listener(&stores.cards, &stores.contexts);
    listener.chunkUpdate(cardChunk());
    QCOMPARE(stores.cards.entries().value(latin1("123")), latin1("456"));
    listener.chunkUpdate(json(R"({"source":"veka","data":"<unique_id>123</unique_id>"})"));
    const QStringList expected{latin1("adm_456.xml"), latin1("vkc_456.xml")};
    QCOMPARE(QDir(directory).entryList(QDir::Files, QDir::Name), expected);
}

void tst_ChunkListener::cardIsLearnedWithoutTheSetting()
{
    const SystemSettings settings;
    Stores stores;
    stores.contexts.setBehaviours(behavioursFor(stores));
    ChunkListener(&stores.cards, &stores.contexts).chunkUpdate(cardChunk());
    QCOMPARE(stores.cards.entries().value(latin1("123")), latin1("456"));
}

void tst_ChunkListener::chunkThatTwoBehavioursAcceptIsHandledByBoth()
{
    const SystemSettings settings;
    Stores stores;
    stores.contexts.setBehaviours(behavioursFor(stores));
    ChunkListener(&stores.cards, &stores.contexts)
        .chunkUpdate(json(R"({"exchange":"kavo-context-rpc-set","body":{"_id":"a","x":1},
                              "data":{"event":"new-context","data":{"y":2}}})"));
    QCOMPARE(stores.contexts.contextIds().size(), 2);
    QCOMPARE(stores.at("a"), json(R"({"x":1})"));
}

void tst_ChunkListener::chunkThatNobodyAcceptsIsDroppedSilently_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::newRow("unknown exchange") << json(R"({"exchange":"kavo-context","body":{"_id":"a"}})");
    QTest::newRow("empty exchange") << json(R"({"exchange":"","body":{"_id":"a"}})");
    QTest::newRow("own event") << json(
        R"({"exchange":"context-created","data":{"contextId":"a"}})");
    QTest::newRow("every member of a wrong type") << json(
        R"({"exchange":{},"body":[],"properties":"","source":0,"data":false,"messages":{}})");
    QTest::newRow("empty object") << json("{}");
    QTest::newRow("array") << json("[1]");
    QTest::newRow("text") << QJsonValue(latin1("kavo-context-rpc-create"));
    QTest::newRow("null") << QJsonValue();
    QTest::newRow("undefined") << QJsonValue(QJsonValue::Undefined);
}

void tst_ChunkListener::chunkThatNobodyAcceptsIsDroppedSilently()
{
    QFETCH(QJsonValue, chunk);
    const SystemSettings settings;
    settings.writeXmlDirectory(settings.makeDirectory(latin1("xml")));
    Stores stores;
    stores.contexts.setBehaviours(behavioursFor(stores));
    support::LogCapture log;
    ChunkListener(&stores.cards, &stores.contexts).chunkUpdate(chunk);
    QVERIFY(log.lines().isEmpty());
    QVERIFY(stores.publisher.chunks().isEmpty());
    QVERIFY(stores.contexts.contextIds().isEmpty());
    QVERIFY(stores.cards.entries().isEmpty());
    QVERIFY(!stores.messages.hasMessages());
}

void tst_ChunkListener::everyExchangeReachesItsBehaviour()
{
    const SystemSettings settings;
    Stores stores;
    stores.contexts.setBehaviours(behavioursFor(stores));
    ChunkListener listener(&stores.cards, &stores.contexts);
    const auto send = [&listener](const QByteArray &members) {
        listener.chunkUpdate(json(R"({"exchange":"kavo-context-)" + members + "}"));
    };
    send(R"(rpc-set","body":{"_id":"a"})");
    QCOMPARE(stores.at("a"), json("{}"));
    send(R"(rpc-update","body":{"_id":"a","inbox":1})");
    QCOMPARE(stores.at("a"), json(R"({"inbox":1})"));
    send(R"(add-matching-items","body":{"filter":{},"matchingItems":
        {"entry":[{"resource":{"id":"1"}}]}})");
    send(R"(add-action-requests","body":{"filter":{},"actionRequests":
        {"entry":[{"resource":{"id":"2"}}]}})");
    QCOMPARE(stores.at("a"),
             json(R"({"inbox":1,"matchingItems":[{"id":"1"}],"actionRequests":[{"id":"2"}]})"));
    send(R"(add-file","body":{"context":"a","filename":"f","content":"MQ=="})");
    QCOMPARE(stores.contexts.fileContent(latin1("a"), latin1("f")), QByteArray("1"));
    send(R"(rpc-get-files","body":{"context":"a"})");
    QCOMPARE(stores.publisher.last().value(latin1("body")).toArray().size(), 1);
    send(R"(attachments-remove","body":{"context":"a","attachments":["f"]})");
    QVERIFY(stores.contexts.fileContent(latin1("a"), latin1("f")).isNull());
    send(R"(add-messages","messages":[{"id":"1","title":"t","text":"x"}])");
    QVERIFY(stores.messages.hasMessages());
    send(R"(rpc-delete","body":{"context":"a"})");
    QVERIFY(stores.contexts.contextIds().isEmpty());
    send(R"(rpc-create","body":{"z":1})");
    QCOMPARE(stores.contexts.contextIds().size(), 1);
    listener.chunkUpdate(json(R"({"data":{"event":"new-context","data":{}}})"));
    QCOMPARE(stores.contexts.contextIds().size(), 2);
}

QTEST_GUILESS_MAIN(tst_ChunkListener)
#include "tst_chunklistener.moc"
