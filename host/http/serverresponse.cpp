#include "http/serverresponse.h"

#include "http/httplogging.h"

namespace host {

namespace {

// What the server says itself: another value would contradict what goes out.
bool isServersOwn(const QString &name)
{
    for (const char *own :
         {"Content-Length", "Transfer-Encoding", "Connection", "Date", "Server"}) {
        if (name.compare(QLatin1String(own), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

} // namespace

bool ServerResponse::isLate(const char *call) const
{
    if (m_state == Open || (m_state == HeadWritten && qstrcmp(call, "end") == 0))
        return false;
    qCDebug(httpLog) << "Ignoring" << call << "on an answer that has its head or is finished.";
    return true;
}

void ServerResponse::setHeader(const QString &name, const QString &value)
{
    if (isLate("setHeader"))
        return;
    if (!isFieldName(name) || !isFieldValue(value)) {
        qCWarning(httpLog) << "Leaving out a header field that would break the answer:" << name;
        return;
    }
    if (isServersOwn(name)) {
        qCDebug(httpLog) << "The server sets this header field itself:" << name;
        return;
    }
    for (ResponseField &field : m_fields) {
        if (field.name.compare(name, Qt::CaseInsensitive) == 0) {
            field.value = value;
            return;
        }
    }
    m_fields.append({name, value});
}

void ServerResponse::writeHead(int status)
{
    if (isLate("writeHead"))
        return;
    const bool isFinal = status >= 200 && status <= 999;
    if (!isFinal)
        qCWarning(httpLog) << "Answering 500 instead of an impossible status:" << status;
    m_status = isFinal ? status : 500;
    m_state = HeadWritten;
}

void ServerResponse::end(const QByteArray &body)
{
    if (isLate("end"))
        return;
    m_state = Ended;
    if (m_sink)
        m_sink->sendAnswer(*this, body);
}

void ServerResponse::fail()
{
    if (m_state == Streaming)
        return abort();
    if (m_state == Ended)
        return;
    m_fields = {{QStringLiteral("Content-Type"), QStringLiteral("text/plain")}};
    m_status = 500;
    m_state = HeadWritten;
    end(QByteArrayLiteral("The request failed inside the server.\n"));
}

void ServerResponse::beginStream(int status)
{
    if (isLate("beginStream"))
        return;
    m_status = status;
    m_state = Streaming;
    if (m_sink)
        m_sink->startStream(*this);
}

bool ServerResponse::writeStream(const QByteArray &bytes)
{
    if (!m_sink || m_state != Streaming)
        return false;
    if (!bytes.isEmpty())
        m_sink->sendStream(bytes);
    return m_sink != nullptr;
}

qint64 ServerResponse::pendingBytes() const
{
    return m_sink ? m_sink->unsentBytes() : 0;
}

void ServerResponse::abort()
{
    if (m_sink)
        m_sink->cutOff();
}

} // namespace host
