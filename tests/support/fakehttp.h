#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVector>

#include <algorithm>
#include <functional>
#include <http/controller.h>
#include <http/controllerstrategy.h>
#include <http/server/request.h>
#include <http/server/response.h>
#include <memory>

namespace support {

/// All of a body as text, NUL bytes included. Its size is never negative; where GCC cannot see
/// that, it warns of the measuring that Qt does for a size of -1.
inline QString textOf(const QByteArray &body)
{
    return QString::fromUtf8(body.constData(), std::max(body.size(), 0));
}

/// A request as a test writes it. `target` is read as a host reads a request line's.
class FakeRequest final : public http::server::Request
{
public:
    FakeRequest(HttpMethod method, const QString &target, const QByteArray &body = QByteArray())
        : FakeRequest(method, QUrl::fromEncoded(target.toUtf8()), body)
    {
    }
    FakeRequest(HttpMethod method, const QUrl &url, const QByteArray &body = QByteArray())
        : m_method(method)
        , m_url(url)
        , m_body(body)
    {
    }

    FakeRequest &with(const QString &name, const QString &value)
    {
        m_headers.insert(name.toLower(), value);
        return *this;
    }

    HttpMethod method() const override { return m_method; }
    const QUrl &url() const override { return m_url; }
    QString header(const QString &name) const override { return m_headers.value(name.toLower()); }
    const QByteArray &body() const override { return m_body; }

private:
    HttpMethod m_method;
    QUrl m_url;
    QByteArray m_body;
    QMap<QString, QString> m_headers;
};

/// Records every call, in order: "Name: value" for a header, the status for the head, the body for
/// the end, each behind the call's name. Ignores nothing, so that answering twice shows.
class FakeResponse final : public http::server::Response
{
public:
    void setHeader(const QString &name, const QString &value) override
    {
        m_calls.append(QStringLiteral("setHeader %1: %2").arg(name, value));
    }

    void writeHead(int status) override
    {
        m_calls.append(QStringLiteral("writeHead %1").arg(status));
        m_statuses.append(status);
    }

    void end(const QByteArray &body) override
    {
        m_calls.append(QStringLiteral("end ") + textOf(body));
        m_bodies.append(body);
        if (onEnd)
            onEnd();
    }

    const QStringList &calls() const { return m_calls; }
    const QVector<int> &statuses() const { return m_statuses; }
    const QVector<QByteArray> &bodies() const { return m_bodies; }
    bool isAnswered() const { return !m_bodies.isEmpty(); }
    QByteArray body() const { return m_bodies.value(0); }

    /// Called inside `end`, after it was recorded.
    std::function<void()> onEnd;

private:
    QStringList m_calls;
    QVector<int> m_statuses;
    QVector<QByteArray> m_bodies;
};

/// One request on its way through a strategy, as a host drives it: `controller` is null when no
/// route was found. Ends the controller as a host does when it goes out of scope, unless the
/// controller has ended itself.
class Exchange
{
public:
    Exchange(http::ControllerStrategy &strategy, const FakeRequest &fakeRequest)
        : request(std::make_shared<FakeRequest>(fakeRequest))
        , response(std::make_shared<FakeResponse>())
        , m_controller(strategy.createController(request))
    {
        if (!m_controller)
            return;
        if (auto *object = dynamic_cast<QObject *>(m_controller))
            QObject::connect(object, &QObject::destroyed, &m_watch, [this] { m_controller = {}; });
        m_controller->setRequest(request);
        m_controller->setResponse(response);
    }
    ~Exchange() { close(); }
    Exchange(const Exchange &) = delete;
    Exchange &operator=(const Exchange &) = delete;

    Exchange &handle()
    {
        m_controller->handle();
        return *this;
    }

    /// The client is gone: deletes the controller at once.
    void close()
    {
        delete m_controller;
        m_controller = nullptr;
    }

    http::Controller *controller() const { return m_controller; }
    bool isServed() const { return m_controller != nullptr; }
    QStringList calls() const { return response->calls(); }

    const std::shared_ptr<FakeRequest> request;
    const std::shared_ptr<FakeResponse> response;

private:
    QObject m_watch;
    http::Controller *m_controller;
};

} // namespace support
