// A request through the route table and its controller, with a populated store.
//
// The first line of an input is the method's number, how the host makes the URL ("e" for a request
// line's bytes, "t" for text, "p" for a decoded path) and the target; then come header lines
// ("Name: value") up to an empty line, and the body. Whatever the request: the route is the literal
// table's, nothing is thrown, and an answer keeps its form.

#include "fhir/coding.h"
#include "unit/http/modulefixture.h"
#include "unit/http/routereference.h"

#include <QtCore/QLoggingCategory>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char *what)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

/// The text up to the next line feed; takes both off `rest`.
QByteArray takeLine(QByteArray &rest)
{
    const int end = rest.indexOf('\n');
    const QByteArray line = rest.left(end);
    rest = end < 0 ? QByteArray() : rest.mid(end + 1);
    return line;
}

QUrl urlFrom(char way, const QByteArray &target)
{
    const QString text = support::textOf(target);
    if (way == 't')
        return QUrl(text);
    if (way != 'p')
        return QUrl::fromEncoded(target);
    QUrl url;
    url.setPath(text, QUrl::DecodedMode);
    return url;
}

FakeRequest requestFrom(QByteArray input)
{
    const QByteArray first = takeLine(input);
    const int method = first.isEmpty() ? 0 : first.at(0) & 0xf; // '0' has none of these bits
    const QUrl url = urlFrom(first.size() > 1 ? first.at(1) : 'e', first.mid(2));
    QVector<QByteArray> headers;
    while (!input.isEmpty()) {
        const QByteArray line = takeLine(input);
        if (line.isEmpty())
            break;
        headers.append(line);
    }
    FakeRequest request(static_cast<Request::HttpMethod>(method), url, input);
    for (const QByteArray &header : headers) {
        const int colon = header.indexOf(": ");
        if (colon > 0)
            request.with(QString::fromUtf8(header.left(colon)),
                         QString::fromUtf8(header.mid(colon + 2)));
    }
    return request;
}

void populate(Module &module)
{
    const QString id = QStringLiteral("abc");
    module.contexts.setContext(id, json(R"({"_id": "abc", "patient": {"id": 7}})"));
    module.contexts.setContext(QStringLiteral("list"), QJsonArray{1, 2});
    module.contexts.addFile(id, QStringLiteral("x.pdf"), "%PDF", domain::Coding());
    module.contexts.addFile(id, QStringLiteral("a b"), QByteArray(), domain::Coding());
    module.strategy.sentContexts().insert(id, module.contexts.context(id).toObject());
    Message message;
    message.id = QStringLiteral("1");
    module.messages.addMessage(message);
}

/// What may wake a waiting controller, or reach one that has answered.
void changeEverything(Module &module)
{
    const QString id = QStringLiteral("abc");
    module.contexts.updateContext(id, json(R"({"item": 1})"));
    module.contexts.setContext(QStringLiteral("list"), json(R"({"item": 1})"));
    module.contexts.removeContext(id);
    module.messages.removeMessages({QStringLiteral("1")});
    module.messages.addMessage({});
}

void checkAnswers(const FakeResponse &response)
{
    require(response.statuses().size() == response.bodies().size(), "A head without an end.");
    for (const int status : response.statuses()) {
        const bool known = status == 200 || status == 201 || status == 204 || status == 400 ||
                           status == 404 || status == 501;
        require(known, "An unknown status.");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const bool prepared = [] {
        static int count = 1;
        static char name[] = "fuzz_strategy";
        static char *arguments[] = {name, nullptr};
        static const QCoreApplication application(count, arguments);
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.warning=false"));
        return true;
    }();
    Q_UNUSED(prepared)

    const FakeRequest request =
        requestFrom(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    const Route route = findRoute(request.method(), request.url());
    const Route expected = reference::firstRoute(request.method(), request.url());
    require(route.row == expected.row && route.contextId == expected.contextId &&
                route.fileName == expected.fileName,
            "A route departs from the table.");

    Module module;
    populate(module);
    Exchange exchange(module.strategy, request);
    require(!exchange.isServed() || route.row != Route::None, "A controller without a route.");
    if (!exchange.isServed())
        return 0;
    exchange.handle();
    changeEverything(module);
    checkAnswers(*exchange.response);
    deleteDeferred();
    return 0;
}
