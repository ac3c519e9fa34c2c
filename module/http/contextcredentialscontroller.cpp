#include "http/contextcredentialscontroller.h"

#include "common/parsejson.h"
#include "http/answer.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <http/server/response.h>
#include <plugin/chunkpublisher.h>

using http::server::Request;

namespace {

Q_LOGGING_CATEGORY(log, "ch.brenlo.kavo-service.context.credentials.controller")

QJsonObject chunkOf(const QJsonObject &data)
{
    return {{QStringLiteral("source"), QStringLiteral("z9-plugin-context")},
            {QStringLiteral("version"), QStringLiteral("1.0.0")},
            {QStringLiteral("data"), data}};
}

QString text(const QJsonObject &entry, QLatin1String member)
{
    return entry.value(member).toString();
}

/// Certificate, key and pass phrase are never looked at: they concern who picks the chunk up.
bool isComplete(const QJsonObject &entry)
{
    const bool hasService = !text(entry, QLatin1String("service")).isEmpty();
    if (text(entry, QLatin1String("keystore_ref")).isEmpty()) {
        if (!hasService)
            qCDebug(log) << "Incomplete credentials. Do not publish.";
        return hasService;
    }
    if (hasService && !text(entry, QLatin1String("id")).isEmpty())
        return true;
    qCDebug(log) << "Incomplete keystore credentials. Do not publish.";
    return false;
}

} // namespace

ContextCredentialsController::ContextCredentialsController(ChunkPublisher *host,
                                                           Request::HttpMethod method,
                                                           const QString &contextId)
    : m_host(host)
    , m_method(method)
    , m_contextId(contextId)
{
}

void ContextCredentialsController::handle()
{
    requireContextId(m_contextId);
    if (m_method != Request::Post)
        return;
    qCDebug(log) << "Publish credential for context" << m_contextId << ".";
    const QJsonArray entries = common::parseJson(m_request->body()).array();
    publishReset();
    publishEntries(entries);
    // The client is not told whether its entries were complete.
    if (m_response)
        answerJson(*m_response, 200, QByteArray());
}

/// Comes before the entries and independently of them, so that services forget earlier ones even
/// when nothing valid follows.
void ContextCredentialsController::publishReset()
{
    if (!m_host)
        return;
    const QJsonObject chunk =
        chunkOf({{QStringLiteral("event"), QStringLiteral("credentialreset-published")},
                 {QStringLiteral("id"), m_contextId}});
    qCDebug(log) << "Sending chunk.";
    m_host->publish(chunk);
}

/// The first incomplete entry ends it; those before it are out already.
void ContextCredentialsController::publishEntries(const QJsonArray &entries)
{
    for (const QJsonValue &value : entries) {
        const QJsonObject entry = value.toObject();
        if (!isComplete(entry))
            return;
        publishEntry(entry);
    }
}

void ContextCredentialsController::publishEntry(const QJsonObject &entry)
{
    qCDebug(log) << "Publish credential for context " << m_contextId
                 << ": Service: " << text(entry, QLatin1String("service"));
    if (!m_host)
        return;
    const QJsonObject chunk =
        chunkOf({{QStringLiteral("event"), QStringLiteral("credential-published")},
                 {QStringLiteral("id"), m_contextId},
                 {QStringLiteral("data"), entry}});
    qCDebug(log) << "Credential chunk to be sent: " << chunk;
    m_host->publish(chunk);
}
