/// Chunks into the whole behaviour list over stores that hold something. The input is JSON: one
/// chunk, or an array of chunks delivered in order. A second module takes the same chunks, but
/// merges entries by the rules written straight down; afterwards both must hold the same contexts.

#include "chunk/cardnumbermap.h"
#include "chunk/chunkbehaviour.h"
#include "chunk/chunkbehaviours.h"
#include "chunk/chunklistener.h"
#include "common/parsejson.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "fhir/coding.h"
#include "message/messageservice.h"
#include "plugin/hosthandle.h"
#include "support/mergereference.h"
#include "support/movableclock.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QSettings>
#include <QtCore/QTemporaryDir>

#include <cstdint>
#include <cstdlib>
#include <plugin/chunkpublisher.h>

namespace {

class SwallowingPublisher final : public ChunkPublisher
{
public:
    void publish(const QJsonValue &) override {}
    void subscribe(ChunkUpdateListener *) override {}
};

class ReferenceMergeBehaviour final : public ChunkBehaviour
{
public:
    ReferenceMergeBehaviour(support::MergeReference reference, ContextService *contexts)
        : m_reference(std::move(reference))
        , m_contexts(contexts)
    {
    }

    void handle(const QJsonValue &chunk) override
    {
        support::referenceHandle(m_reference, *m_contexts, chunk);
    }

private:
    support::MergeReference m_reference;
    ContextService *m_contexts;
};

QJsonValue parsed(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

/// The chunk side of the module with three contexts and a file.
struct Module
{
    Module()
    {
        static const QJsonValue full = parsed(R"({"_id":"a","patient":{"id":"7","name":["x","y"]},
            "n":null,"matchingItems":[{"id":"1","v":1},{"id":"2"},{"v":3},4],
            "actionRequests":[{"id":"1"},{"id":"3"}],"inbox":[1]})");
        static const QJsonValue other = parsed(R"({"patient":{"id":"8","active":true}})");
        contexts.setContext(QStringLiteral("a"), full);
        contexts.setContext(QStringLiteral("b"), other);
        contexts.setContext(QStringLiteral("c"), QJsonValue(7));
        contexts.addFile(QStringLiteral("a"), QStringLiteral("f.pdf"), "file", domain::Coding());
        contexts.setBehaviours(behaviours());
    }

    std::vector<std::unique_ptr<ChunkBehaviour>> behaviours()
    {
        return chunkBehaviours(&cards, &host, &contexts, &messages);
    }

    SwallowingPublisher publisher;
    HostHandle host{&publisher};
    FileService files;
    support::MovableClock clock;
    MessageService messages;
    CardNumberMap cards;
    ContextService contexts{&host, &files, &clock};
    ChunkListener listener{&cards, &contexts};
};

/// The same with its merging replaced.
struct ReferenceModule : Module
{
    ReferenceModule()
    {
        constexpr std::size_t matchingItems = 8; // places in the list of thirteen
        constexpr std::size_t actionRequests = 10;
        auto list = behaviours();
        list.at(matchingItems) =
            std::make_unique<ReferenceMergeBehaviour>(support::matchingItemsReference(), &contexts);
        list.at(actionRequests) = std::make_unique<ReferenceMergeBehaviour>(
            support::actionRequestsReference(), &contexts);
        contexts.setBehaviours(std::move(list));
    }
};

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void requireSameContexts(Module &module, Module &reference)
{
    const QStringList ids = module.contexts.contextIds();
    require(ids == reference.contexts.contextIds());
    for (const QString &id : ids)
        require(module.contexts.context(id) == reference.contexts.context(id));
}

/// Where cards are written: a folder in a folder of this run's own, which holds nothing else.
class CardFolder
{
public:
    CardFolder()
    {
        QCoreApplication::setOrganizationName(QStringLiteral("fuzz"));
        QCoreApplication::setApplicationName(QStringLiteral("dispatcher"));
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope,
                           m_settings.filePath(QStringLiteral("settings")));
        QDir(m_outer.path()).mkdir(QStringLiteral("xml"));
        QSettings(QSettings::IniFormat, QSettings::SystemScope,
                  QCoreApplication::organizationName(), QCoreApplication::applicationName())
            .setValue(QStringLiteral("ch.brenlo.kavo-service.context/xml.directory"), m_xml.path());
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    }

    /// Nothing lies beside the folder, and in it only what the two exports write.
    void checkAndEmpty()
    {
        static const QRegularExpression name(QStringLiteral("\\A(adm|vkc)_[0-9]*\\.xml\\z"));
        require(QDir(m_outer.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size() ==
                1);
        m_xml.refresh();
        const QStringList written =
            m_xml.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        for (const QString &file : written) {
            require(name.match(file).hasMatch());
            m_xml.remove(file);
        }
    }

private:
    QTemporaryDir m_settings;
    QTemporaryDir m_outer;
    QDir m_xml{m_outer.filePath(QStringLiteral("xml"))};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static CardFolder folder;
    const QJsonDocument document =
        common::parseJson(QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size)));
    const QJsonArray chunks =
        document.isArray() ? document.array() : QJsonArray{QJsonValue(document.object())};
    if (document.isNull())
        return 0;

    Module module;
    ReferenceModule reference;
    for (const QJsonValue &chunk : chunks) {
        module.listener.chunkUpdate(chunk);
        reference.listener.chunkUpdate(chunk);
    }
    requireSameContexts(module, reference);
    require(module.cards.entries() == reference.cards.entries());
    folder.checkAndEmpty();
    return 0;
}
