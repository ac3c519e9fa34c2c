#include <http/controller.h>
#include <http/controllerstrategy.h>
#include <http/server/request.h>
#include <http/server/response.h>
#include <plugin/kavoserviceplugin.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QUrlQuery>

#include <functional>
#include <stdexcept>

namespace {

using http::server::Request;
using http::server::Response;

// The last response that was kept instead of answered.
std::shared_ptr<Response> &keptResponse()
{
    static std::shared_ptr<Response> kept;
    return kept;
}

QString item(const Request &request, const char *name)
{
    return QUrlQuery(request.url()).queryItemValue(QLatin1String(name), QUrl::FullyDecoded);
}

/// Does one of the things below.
class TrialController : public http::Controller
{
public:
    using Trial = std::function<void(const Request &, const std::shared_ptr<Response> &)>;

    explicit TrialController(Trial trial)
        : m_trial(std::move(trial))
    {
    }

    void handle() override { m_trial(*m_request, m_response); }

private:
    Trial m_trial;
};

/// Schedules its own deletion, as the module's long-poll controllers do.
class SelfDeletingController final : public QObject, public TrialController
{
public:
    using TrialController::TrialController;

    void handle() override
    {
        TrialController::handle();
        deleteLater();
    }
};

void answer(Response &response, int status, const QByteArray &body)
{
    response.writeHead(status);
    response.end(body);
}

void echo(const Request &request, const std::shared_ptr<Response> &response)
{
    answer(*response, 200,
           QJsonDocument(
               QJsonObject{{QStringLiteral("method"), int(request.method())},
                           {QStringLiteral("url"), request.url().toString(QUrl::FullyEncoded)},
                           {QStringLiteral("host"), request.url().host()},
                           {QStringLiteral("header"), request.header(QStringLiteral("x-echo"))},
                           {QStringLiteral("body"), QString::fromUtf8(request.body())}})
               .toJson());
}

void answerTwice(const Request &, const std::shared_ptr<Response> &response)
{
    response->setHeader(QStringLiteral("X-First"), QStringLiteral("1"));
    response->writeHead(201);
    response->setHeader(QStringLiteral("X-Late"), QStringLiteral("1"));
    response->writeHead(500);
    response->end("first");
    answer(*response, 500, "second");
}

void setAskedHeader(const Request &request, const std::shared_ptr<Response> &response)
{
    response->setHeader(item(request, "name"), item(request, "value"));
    answer(*response, 200, "body");
}

void throwAfterTheHead(const Request &, const std::shared_ptr<Response> &response)
{
    response->setHeader(QStringLiteral("X-Before"), QStringLiteral("1"));
    response->writeHead(200);
    throw std::runtime_error("trial after the head");
}

void throwAfterTheEnd(const Request &, const std::shared_ptr<Response> &response)
{
    answer(*response, 200, "sent");
    throw std::runtime_error("trial after the end");
}

const QMap<QString, TrialController::Trial> &trials()
{
    using Shared = std::shared_ptr<Response>;
    static const QMap<QString, TrialController::Trial> all{
        {QStringLiteral("/trial/echo"), echo},
        {QStringLiteral("//trial/echo"), echo},
        {QStringLiteral("/trial/twice"), answerTwice},
        {QStringLiteral("/trial/header"), setAskedHeader},
        {QStringLiteral("/trial/throw"),
         [](const Request &, const Shared &) { throw std::runtime_error("trial at once"); }},
        {QStringLiteral("/trial/throw-a-number"), [](const Request &, const Shared &) { throw 1; }},
        {QStringLiteral("/trial/throw-after-head"), throwAfterTheHead},
        {QStringLiteral("/trial/throw-after-end"), throwAfterTheEnd},
        {QStringLiteral("/trial/no-head"),
         [](const Request &, const Shared &response) { response->end("headless"); }},
        {QStringLiteral("/trial/status"),
         [](const Request &request, const Shared &response) {
             answer(*response, item(request, "code").toInt(), "body");
         }},
        {QStringLiteral("/trial/large"),
         [](const Request &request, const Shared &response) {
             answer(*response, 200, QByteArray(item(request, "size").toInt(), 'x'));
         }},
        {QStringLiteral("/trial/keep"),
         [](const Request &, const Shared &response) { keptResponse() = response; }},
        {QStringLiteral("/trial/answer-kept"),
         [](const Request &, const Shared &response) {
             answer(*keptResponse(), 200, "kept");
             keptResponse().reset();
             answer(*response, 200, "answered");
         }},
    };
    return all;
}

/// Answers what is named by the path; below /self, with controllers that delete themselves.
class TrialStrategy final : public http::ControllerStrategy
{
public:
    http::Controller *createController(std::shared_ptr<Request> request) override
    {
        const QString self = QStringLiteral("/self");
        const QString path = request->url().path();
        const bool deletesItself = path.startsWith(self);
        const auto trial = trials().constFind(deletesItself ? path.mid(self.size()) : path);
        if (trial == trials().constEnd())
            return nullptr;
        if (deletesItself)
            return new SelfDeletingController(*trial);
        return new TrialController(*trial);
    }
};

} // namespace

/// A plug-in with controllers that do everything the interface allows, and some of what it does
/// not.
class TrialPlugin final : public QObject, public KavoServicePlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "ch.brenlo.kavo-service.context")
    Q_INTERFACES(KavoServicePlugin)

public:
    ~TrialPlugin() override { keptResponse().reset(); }

    void initialize() override {}
    QList<http::ControllerStrategy *> controllerStrategies() override { return {&m_strategy}; }
    void attachHost(ChunkPublisher *) override {}
    void detachHost() override {}
    quintptr reserved() override { return 0; }

private:
    TrialStrategy m_strategy;
};

#include "trialplugin.moc"
