#include "http/contextfilepostcontroller.h"

#include "context/contextservice.h"
#include "fhir/coding.h"
#include "http/answer.h"
#include "http/multipartparser.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QMap>
#include <http/server/request.h>
#include <http/server/response.h>

namespace {

Q_LOGGING_CATEGORY(log, "ch.brenlo.kavo-service.context.file.post.controller")

domain::Coding uploadedDocumentType()
{
    domain::Coding coding;
    coding.system = QStringLiteral("http://hl7.org/fhir/ValueSet/c80-doc-typecodes");
    coding.code = QStringLiteral("55107-7");
    coding.display = QStringLiteral("Addendum Document");
    return coding;
}

} // namespace

ContextFilePostController::ContextFilePostController(ContextService *contexts,
                                                     const QString &contextId)
    : m_contexts(contexts)
    , m_contextId(contextId)
{
}

void ContextFilePostController::handle()
{
    requireContextId(m_contextId);
    qCDebug(log) << "Uploading file to context" << m_contextId << ".";

    // The boundary is the text up to a further "boundary=", quotes and parameters included.
    const QStringList pieces =
        m_request->header(contentTypeHeader()).split(QStringLiteral("boundary="));
    if (pieces.size() < 2) {
        answerText(*m_response, 400,
                   QByteArrayLiteral("The content type names no multipart boundary.\n"));
        return;
    }
    const domain::Coding type = uploadedDocumentType();
    const MultipartParser parser(QStringLiteral("--") + pieces.at(1), m_request->body());
    const QMap<QString, QByteArray> files = parser.parse();
    for (auto file = files.cbegin(); file != files.cend(); ++file)
        m_contexts->addFile(m_contextId, file.key(), file.value(), type);
    answer(*m_response, 204);
}
