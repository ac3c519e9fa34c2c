#include "context/contextservice.h"
#include "context/fileservice.h"
#include "http/contextcontrollerstrategy.h"
#include "http/routes.h"
#include "message/messageservice.h"
#include "plugin/hosthandle.h"
#include "system/clock.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QUrl>

#include <benchmark/benchmark.h>
#include <http/controller.h>
#include <http/server/request.h>
#include <http/server/response.h>
#include <memory>
#include <vector>

using http::server::Request;

namespace {

class BenchRequest final : public Request
{
public:
    BenchRequest(HttpMethod method, const QString &target, const QByteArray &body = QByteArray())
        : m_method(method)
        , m_url(QUrl::fromEncoded(target.toLatin1()))
        , m_body(body)
    {
    }

    HttpMethod method() const override { return m_method; }
    const QUrl &url() const override { return m_url; }
    QString header(const QString &) const override { return {}; }
    const QByteArray &body() const override { return m_body; }

private:
    HttpMethod m_method;
    QUrl m_url;
    QByteArray m_body;
};

class BenchResponse final : public http::server::Response
{
public:
    void setHeader(const QString &name, const QString &value) override
    {
        benchmark::DoNotOptimize(name.constData());
        benchmark::DoNotOptimize(value.constData());
    }
    void writeHead(int status) override { benchmark::DoNotOptimize(status); }
    void end(const QByteArray &body) override
    {
        benchmark::DoNotOptimize(body.constData());
        ++m_answers;
    }

    int answers() const { return m_answers; }

private:
    int m_answers = 0;
};

/// A context of about 1,024 bytes of JSON. `number` makes it differ from the next.
QJsonObject oneKilobyte(int number)
{
    QJsonObject context{{QStringLiteral("matchingItems"), QJsonArray()},
                        {QStringLiteral("number"), number}};
    for (int i = 0; i < 11; ++i) {
        context.insert(QStringLiteral("note%1").arg(i),
                       QString(70, QLatin1Char(static_cast<char>('a' + i))));
    }
    return context;
}

/// The settings are looked up under the application's names.
const QCoreApplication &theApplication()
{
    static int count = 1;
    static char name[] = "bench_routing";
    static char *arguments[] = {name, nullptr};
    static const QCoreApplication application(count, arguments);
    return application;
}

/// The module with debug off and no host, as far as requests see it.
class Module
{
public:
    Module()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
        contexts.setContext(QStringLiteral("abcdefghijklmnop"), oneKilobyte(0));
    }

    /// Runs a request as a host does and returns its controller.
    std::unique_ptr<http::Controller> handle(const std::shared_ptr<Request> &request,
                                             const std::shared_ptr<BenchResponse> &response)
    {
        std::unique_ptr<http::Controller> controller(strategy.createController(request));
        controller->setRequest(request);
        controller->setResponse(response);
        controller->handle();
        return controller;
    }

    const QCoreApplication &application = theApplication();
    HostHandle host;
    FileService files;
    SystemClock clock;
    ContextService contexts{&host, &files, &clock};
    MessageService messages;
    ContextControllerStrategy strategy{&contexts, &messages};
};

/// Clients that wait, each with a request and a response of its own.
class Crowd
{
public:
    Crowd(Module &module, int size, const QString &target)
    {
        for (int i = 0; i < size; ++i) {
            auto request = std::make_shared<BenchRequest>(Request::Get, target);
            m_responses.push_back(std::make_shared<BenchResponse>());
            m_controllers.push_back(module.handle(request, m_responses.back()));
        }
    }

    /// Runs the deletions that the answered controllers have put off.
    void deleteAnswered()
    {
        for (auto &controller : m_controllers)
            static_cast<void>(controller.release());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    bool isAnswered() const
    {
        for (const auto &response : m_responses) {
            if (response->answers() != 1)
                return false;
        }
        return true;
    }

private:
    std::vector<std::shared_ptr<BenchResponse>> m_responses;
    std::vector<std::unique_ptr<http::Controller>> m_controllers;
};

void route(benchmark::State &state, Request::HttpMethod method, const char *target)
{
    const QUrl url = QUrl::fromEncoded(target);
    for (auto _ : state)
        benchmark::DoNotOptimize(findRoute(method, url));
}
BENCHMARK_CAPTURE(route, get, Request::Get, "/context/abcdefghijklmnop");
BENCHMARK_CAPTURE(route, event, Request::Get, "/context/abcdefghijklmnop/event");
BENCHMARK_CAPTURE(route, file, Request::Get, "/context/abcdefghijklmnop/file/x.pdf");
BENCHMARK_CAPTURE(route, download, Request::Get,
                  "/context/abcdefghijklmnop/file/x.pdf?download=true");
BENCHMARK_CAPTURE(route, file_by_table, Request::Get, "/context/abcdefghijklmnop/file/x%252Epdf");
BENCHMARK_CAPTURE(route, message, Request::Post, "/message");
BENCHMARK_CAPTURE(route, none, Request::Get, "/context/abcdefghijklmnop/none");
BENCHMARK_CAPTURE(route, none_by_table, Request::Get, "/context/abcdefghijklmnop?none");

void createController(benchmark::State &state)
{
    Module module;
    const auto request =
        std::make_shared<BenchRequest>(Request::Get, QStringLiteral("/context/abcdefghijklmnop"));
    for (auto _ : state)
        delete module.strategy.createController(request);
}
BENCHMARK(createController);

void answerGet(benchmark::State &state)
{
    Module module;
    const auto request =
        std::make_shared<BenchRequest>(Request::Get, QStringLiteral("/context/abcdefghijklmnop"));
    const auto response = std::make_shared<BenchResponse>();
    for (auto _ : state)
        module.handle(request, response);
}
BENCHMARK(answerGet);

void answerGetAfterAChange(benchmark::State &state)
{
    Module module;
    const QJsonObject values[] = {oneKilobyte(1), oneKilobyte(2)};
    const auto request =
        std::make_shared<BenchRequest>(Request::Get, QStringLiteral("/context/abcdefghijklmnop"));
    const auto response = std::make_shared<BenchResponse>();
    int number = 0;
    for (auto _ : state) {
        module.contexts.setContext(QStringLiteral("abcdefghijklmnop"), values[number++ % 2]);
        module.handle(request, response);
    }
}
BENCHMARK(answerGetAfterAChange);

void answerPut(benchmark::State &state)
{
    Module module;
    std::vector<std::shared_ptr<BenchRequest>> requests;
    for (int i = 1; i <= 2; ++i) {
        requests.push_back(std::make_shared<BenchRequest>(
            Request::Put, QStringLiteral("/context/abcdefghijklmnop"),
            QJsonDocument(oneKilobyte(i)).toJson(QJsonDocument::Compact)));
    }
    const auto response = std::make_shared<BenchResponse>();
    std::size_t number = 0;
    for (auto _ : state)
        module.handle(requests[number++ % 2], response);
}
BENCHMARK(answerPut);

void changeWithPollsOnOtherContexts(benchmark::State &state)
{
    Module module;
    std::vector<std::unique_ptr<Crowd>> crowds;
    for (int i = 0; i < state.range(0); ++i) {
        crowds.push_back(
            std::make_unique<Crowd>(module, 1, QStringLiteral("/context/other%1/event").arg(i)));
    }
    const QJsonObject values[] = {oneKilobyte(1), oneKilobyte(2)};
    int number = 0;
    for (auto _ : state)
        module.contexts.setContext(QStringLiteral("abcdefghijklmnop"), values[number++ % 2]);
}
BENCHMARK(changeWithPollsOnOtherContexts)->Arg(0)->Arg(10000);

/// One change, and one waiting client after the other; printing, headers and deletion included.
void changeWithPollsOnTheContext(benchmark::State &state)
{
    Module module;
    const QString id = QStringLiteral("waited");
    int number = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto crowd = std::make_unique<Crowd>(module, static_cast<int>(state.range(0)),
                                             QStringLiteral("/context/waited/event"));
        const QJsonObject value = oneKilobyte(++number);
        state.ResumeTiming();
        module.contexts.setContext(id, value);
        crowd->deleteAnswered();
        state.PauseTiming();
        if (!crowd->isAnswered())
            state.SkipWithError("A waiting client was not answered exactly once.");
        crowd.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(changeWithPollsOnTheContext)->Arg(1)->Arg(100)->Iterations(2000);
BENCHMARK(changeWithPollsOnTheContext)->Arg(10000)->Iterations(50);

void pollsThatVanish(benchmark::State &state)
{
    Module module;
    for (auto _ : state) {
        state.PauseTiming();
        auto crowd = std::make_unique<Crowd>(module, static_cast<int>(state.range(0)),
                                             QStringLiteral("/context/waited/event"));
        state.ResumeTiming();
        crowd.reset();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(pollsThatVanish)->Arg(10000)->Iterations(50);

} // namespace
