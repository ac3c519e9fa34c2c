#include "http/contextfilegetcontroller.h"

#include "context/contextservice.h"
#include "http/answer.h"

#include <QtCore/QLoggingCategory>
#include <http/server/request.h>
#include <http/server/response.h>
#include <stdexcept>

namespace {

Q_LOGGING_CATEGORY(log, "ch.brenlo.kavo-service.context.file.get.controller")

} // namespace

ContextFileGetController::ContextFileGetController(ContextService *contexts,
                                                   const QString &contextId,
                                                   const QString &fileName, bool download,
                                                   const QString &desiredFileName)
    : m_contexts(contexts)
    , m_contextId(contextId)
    , m_fileName(fileName)
    , m_download(download)
    , m_desiredFileName(desiredFileName)
{
}

void ContextFileGetController::handle()
{
    requireContextId(m_contextId);
    if (m_fileName.isEmpty())
        throw std::runtime_error("Filename required.");

    qCDebug(log) << "Accessing file" << m_fileName << "within context" << m_contextId << ".";
    if (m_contexts->context(m_contextId).isNull()) {
        answer(*m_response, 404, QByteArrayLiteral("Context not found."));
        return;
    }
    const QByteArray bytes = m_contexts->fileContent(m_contextId, m_fileName);
    if (bytes.isNull()) // a file of no bytes is a file
        answer(*m_response, 404, QByteArrayLiteral("File not found."));
    else
        answerWith(bytes);
}

/// The first rule that applies wins; all of them look for a piece of the header's text only.
void ContextFileGetController::answerWith(const QByteArray &bytes)
{
    const QString accept = m_request->header(QStringLiteral("Accept"));
    const QString encoding = m_request->header(QStringLiteral("Accept-Encoding"));
    if (accept.contains(QLatin1String("application/fhir+json"))) {
        answer(*m_response, 501,
               QByteArrayLiteral(
                   "Fhir file reprensentation not implemented.")); // text as clients know it
    } else if (encoding.contains(QLatin1String("base64"))) {
        m_response->setHeader(QStringLiteral("Content-Encoding"), QStringLiteral("base64"));
        answer(*m_response, 200, bytes.toBase64());
    } else if (m_download) {
        m_response->setHeader(contentTypeHeader(), QStringLiteral("application/octet-stream"));
        m_response->setHeader(QStringLiteral("Content-Disposition"), disposition());
        answer(*m_response, 200, bytes);
    } else {
        if (m_fileName.endsWith(QLatin1String(".pdf")))
            m_response->setHeader(contentTypeHeader(), QStringLiteral("application/pdf"));
        answer(*m_response, 200, bytes);
    }
}

/// The name stands in it as the client gave it, unquoted: clients rely on getting it back verbatim,
/// and the host refuses what could not stand in a header.
QString ContextFileGetController::disposition() const
{
    qCDebug(log) << "m_desiredFileName: " << m_desiredFileName;
    if (m_desiredFileName.isEmpty())
        return QStringLiteral("attachment");
    return QStringLiteral("attachment; filename=%1;").arg(m_desiredFileName);
}
