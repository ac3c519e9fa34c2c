#include "http/contextcreatecontroller.h"

#include "common/parsejson.h"
#include "context/contextservice.h"
#include "http/answer.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QLoggingCategory>
#include <http/server/request.h>
#include <http/server/response.h>

namespace {

Q_LOGGING_CATEGORY(log, "ch.brenlo.kavo-service.context.controller.create")

} // namespace

ContextCreateController::ContextCreateController(ContextService *contexts)
    : m_contexts(contexts)
{
}

void ContextCreateController::handle()
{
    qCDebug(log) << "Creating a new context.";
    QJsonObject context = postedObject();
    const QString id = m_contexts->createContext();
    context.insert(QStringLiteral("_id"), id);
    m_contexts->setContext(id, context);
    if (m_request->header(QStringLiteral("Accept")).contains(QLatin1String("text/plain")))
        answerText(*m_response, 200, id.toLocal8Bit());
    else
        answerJson(*m_response, 200, m_contexts->printedContext(id, context));
}

/// A body that is no JSON is answered 400 and yields an empty object, which is stored and answered
/// all the same: clients count on a context after every POST.
QJsonObject ContextCreateController::postedObject()
{
    const QByteArray &body = m_request->body();
    // Only this spelling is known; UTF-8 is taken for granted with every other.
    const bool isLatin1 =
        m_request->header(contentTypeHeader()).contains(QLatin1String("charset=ISO-8859-1"));
    QJsonParseError error{};
    const QJsonDocument document = common::parseJson(
        isLatin1 ? QString::fromLatin1(body.constData(), body.size()).toUtf8() : body, &error);
    if (error.error != QJsonParseError::NoError) {
        const QString text = error.errorString();
        qCWarning(log) << "Error when parsing.";
        qCDebug(log) << text;
        answerText(*m_response, 400, text.toLocal8Bit());
    }
    return document.object();
}
