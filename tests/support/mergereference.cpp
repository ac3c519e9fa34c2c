#include "support/mergereference.h"

#include "context/contextservice.h"

#include <QtCore/QDebug>
#include <QtCore/QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(matchingItemsLog, "ch.brenlo.kavo-service.context.addmatchingitemsbehaviour")
Q_LOGGING_CATEGORY(actionRequestsLog, "ch.brenlo.kavo-service.context.addactionrequestsbehaviour")

QString idOf(const QJsonValue &item)
{
    return item.toObject().value(QStringLiteral("id")).toString();
}

} // namespace

namespace support {

MergeReference matchingItemsReference()
{
    return {QStringLiteral("kavo-context-add-matching-items"), QStringLiteral("matchingItems"),
            &matchingItemsLog, true};
}

MergeReference actionRequestsReference()
{
    return {QStringLiteral("kavo-context-add-action-requests"), QStringLiteral("actionRequests"),
            &actionRequestsLog, false};
}

bool referenceFits(const MergeReference &reference, const QJsonObject &filter,
                   const QJsonObject &context)
{
    const QStringList keys = filter.keys();
    for (const QString &key : keys) {
        if (!context.contains(key))
            return false;
        if (context.value(key).isNull()) {
            if (filter.value(key).isNull())
                return true;
            return false;
        }
        if (!referenceValuesEqual(reference, filter.value(key), context.value(key)))
            return false;
    }
    return true;
}

bool referenceValuesEqual(const MergeReference &reference, const QJsonValue &a, const QJsonValue &b)
{
    if (a.isNull())
        return b.isNull();
    if (b.isNull())
        return false;
    if (a.isObject() && b.isObject())
        return referenceFits(reference, a.toObject(), b.toObject());
    if (a.isArray() && b.isArray()) {
        const QJsonArray wanted = a.toArray();
        const QJsonArray present = b.toArray();
        if (wanted.isEmpty())
            return true;
        int found = 0;
        for (int i = 0; i < wanted.size(); ++i) {
            for (int j = 0; j < present.size(); ++j) {
                if (referenceValuesEqual(reference, wanted.at(i), present.at(j))) {
                    ++found;
                    break;
                }
            }
        }
        return found == wanted.size();
    }
    if (a.isString() && b.isString())
        return a == b;
    if (a.isBool() && b.isBool())
        return a == b;
    if (a.isDouble() && b.isDouble())
        return a == b;
    qCWarning(reference.category) << "Value type comparison not defined.";
    qCDebug(reference.category) << a;
    qCDebug(reference.category) << b;
    return false;
}

namespace {

void appendEntries(const MergeReference &reference, const QJsonObject &chunk,
                   const QJsonArray &entries, QJsonArray &merged)
{
    for (int i = 0; i < entries.size(); ++i) {
        const QJsonObject entry = entries.at(i).toObject();
        if (!entry.contains(QStringLiteral("resource")))
            continue;
        const QJsonObject resource = entry.value(QStringLiteral("resource")).toObject();
        if (!resource.contains(QStringLiteral("id")) && reference.matchingItems) {
            qCWarning(reference.category)
                << "Chunk sent by " << chunk.value(QStringLiteral("source"))
                << " contained an entry for matchingItem with an undefined \"id\" entry. "
                   "Proceeding anyways: "
                << resource;
        }
        if (!resource.isEmpty())
            merged.append(resource);
    }
}

void appendExisting(const QJsonArray &existing, QJsonArray &merged)
{
    for (int i = 0; i < existing.size(); ++i) {
        bool found = false;
        for (int j = 0; j < merged.size() && !found; ++j)
            found = idOf(merged.at(j)) == idOf(existing.at(i));
        if (!found)
            merged.append(existing.at(i));
    }
}

void traceMerge(const MergeReference &reference, int entries, int existing)
{
    if (reference.matchingItems) {
        qCDebug(reference.category)
            << "Accepted update for matchingItems with" << entries << "entries.";
        qCDebug(reference.category) << "Existing matchingItems has" << existing << "entries.";
    } else {
        qCDebug(reference.category)
            << "Accepted update for actionRequests with" << entries << "entries.";
        qCDebug(reference.category) << "Existing actionRequests has" << existing << "entries.";
    }
}

void mergeIntoContext(const MergeReference &reference, ContextService &contexts, const QString &id,
                      const QJsonObject &chunk)
{
    const QJsonObject body = chunk.value(QStringLiteral("body")).toObject();
    const QJsonObject filter = body.value(QStringLiteral("filter")).toObject();
    const QJsonObject context = contexts.context(id).toObject();
    qCDebug(reference.category) << "Filter keys:" << filter.keys()
                                << ", context keys:" << context.keys();
    if (reference.matchingItems) {
        qCDebug(reference.category) << "Filter patient:" << filter.value(QStringLiteral("patient"));
        qCDebug(reference.category)
            << "Context patient:" << context.value(QStringLiteral("patient"));
    }
    if (!referenceFits(reference, filter, context)) {
        qCDebug(reference.category) << "No overlap found. Reject update.";
        return;
    }
    const QJsonArray entries =
        body.value(reference.arrayKey).toObject().value(QStringLiteral("entry")).toArray();
    QJsonArray merged;
    traceMerge(reference, entries.size(), merged.size());
    appendEntries(reference, chunk, entries, merged);
    appendExisting(context.value(reference.arrayKey).toArray(), merged);
    QJsonObject update;
    update.insert(reference.arrayKey, merged);
    contexts.updateContext(id, update);
}

} // namespace

void referenceHandle(const MergeReference &reference, ContextService &contexts,
                     const QJsonValue &chunk)
{
    if (!chunk.isObject())
        return;
    const QJsonObject object = chunk.toObject();
    if (object.value(QStringLiteral("exchange")) != QJsonValue(reference.exchange))
        return;
    qCDebug(reference.category) << "Chunk received: " << object.value(QStringLiteral("source"));
    const QJsonObject body = object.value(QStringLiteral("body")).toObject();
    if (!body.contains(QStringLiteral("filter"))) {
        qCWarning(reference.category) << "Invalid chunk received, chunk has no filter.";
        return;
    }
    if (body.value(QStringLiteral("filter")).toObject().isEmpty())
        qCDebug(reference.category) << "Empty filter. Add to all contexts.";
    const QStringList ids = contexts.contextIds();
    for (const QString &id : ids)
        mergeIntoContext(reference, contexts, id, object);
}

} // namespace support
