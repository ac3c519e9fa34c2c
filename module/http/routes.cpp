#include "http/routes.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>
#include <algorithm>
#include <array>
#include <optional>

using http::server::Request;

namespace {

/// Which rows a method has; each group is tried in the order of the rows.
enum class Group { None, Read, Write, Post };

Group groupOf(Request::HttpMethod method)
{
    switch (method) {
    case Request::Get:
    case Request::Delete: // also of files and of both event routes, which answer it as they will
        return Group::Read;
    case Request::Put:
        return Group::Write;
    case Request::Post:
        return Group::Post;
    default:
        return Group::None;
    }
}

struct TableRow
{
    TableRow(Group methods, Route::Row number, const char *expression)
        : group(methods)
        , row(number)
        , pattern(QLatin1String(expression))
    {
    }

    Group group;
    Route::Row row;
    QRegularExpression pattern;
};

using Table = std::array<TableRow, 10>;

/// In the order in which the rows of a group are tried.
const Table &table()
{
    static constexpr char context[] = R"(^\/context\/([a-zA-Z0-9]+)\/?$)";
    static const Table rows{{
        {Group::Read, Route::FileGet,
         R"(^\/context\/([a-zA-Z0-9]+)\/file\/([a-zA-Z0-9_\-\.%]+)\/?$)"},
        {Group::Read, Route::Event, R"(^\/context\/([a-zA-Z0-9]+)\/event\/?$)"},
        {Group::Read, Route::MessageEvent, R"(^\/message\/event$)"},
        {Group::Read, Route::Context, context},
        {Group::Write, Route::Context, context},
        {Group::Post, Route::ContextCreate, R"(^\/context\/?$)"},
        {Group::Post, Route::FilePost, R"(^\/context\/([a-zA-Z0-9]+)\/file\/?$)"},
        {Group::Post, Route::Form, R"(^\/context\/([a-zA-Z0-9]+)\/?\$form$)"},
        {Group::Post, Route::Credentials, R"(^\/context\/([a-zA-Z0-9]+)\/credentials\/?$)"},
        {Group::Post, Route::Message, R"(^\/message$)"},
    }};
    return rows;
}

/// A name that was encoded twice arrives decoded: the path was decoded once already.
QString decodedFileName(const QString &name)
{
    return QUrl::fromPercentEncoding(name.toUtf8());
}

/// A file's row is matched against the fully decoded path, the others against the URL as text: a
/// query or a fragment is part of that and matches none of them.
Route routeByTable(Group group, const QUrl &url, const QString &text)
{
    for (const TableRow &candidate : table()) {
        if (candidate.group != group)
            continue;
        const bool isFile = candidate.row == Route::FileGet;
        const QRegularExpressionMatch found =
            candidate.pattern.match(isFile ? url.path(QUrl::FullyDecoded) : text);
        if (found.hasMatch())
            return {candidate.row, found.captured(1),
                    isFile ? decodedFileName(found.captured(2)) : QString()};
    }
    return {};
}

bool isIdCharacter(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9');
}

bool isPlainCharacter(QChar c)
{
    const ushort u = c.unicode();
    return isIdCharacter(c) || u == '/' || u == '$' || u == '_' || u == '-' || u == '.';
}

bool isSlashOrNothing(const QStringRef &text)
{
    return text.isEmpty() || text == QLatin1String("/");
}

Route::Row readRow(const QStringRef &tail, QStringRef &fileName)
{
    if (isSlashOrNothing(tail))
        return Route::Context;
    if (tail.startsWith(QLatin1String("/event")) && isSlashOrNothing(tail.mid(6)))
        return Route::Event;
    if (!tail.startsWith(QLatin1String("/file/")))
        return Route::None;
    fileName = tail.mid(6);
    if (fileName.endsWith(QLatin1Char('/')))
        fileName.chop(1);
    const bool isName = !fileName.isEmpty() && !fileName.contains(QLatin1Char('/')) &&
                        !fileName.contains(QLatin1Char('$'));
    return isName ? Route::FileGet : Route::None;
}

Route::Row postRow(const QStringRef &tail)
{
    if (tail.startsWith(QLatin1String("/file")) && isSlashOrNothing(tail.mid(5)))
        return Route::FilePost;
    if (tail == QLatin1String("$form") || tail == QLatin1String("/$form"))
        return Route::Form;
    if (tail.startsWith(QLatin1String("/credentials")) && isSlashOrNothing(tail.mid(12)))
        return Route::Credentials;
    return Route::None;
}

Route plainContextRoute(Group group, const QString &text)
{
    constexpr int idStart = 9; // behind "/context/"
    if (isSlashOrNothing(text.midRef(idStart - 1)))
        return {group == Group::Post ? Route::ContextCreate : Route::None, {}, {}};
    if (text.at(idStart - 1) != QLatin1Char('/'))
        return {};
    const auto *const idEnd = std::find_if_not(text.cbegin() + idStart, text.cend(), isIdCharacter);
    const int idLength = static_cast<int>(idEnd - text.cbegin()) - idStart;
    if (idLength == 0)
        return {};
    const QStringRef tail = text.midRef(idStart + idLength);
    QStringRef fileName;
    Route::Row row = Route::None;
    if (group == Group::Read)
        row = readRow(tail, fileName);
    else if (group == Group::Post)
        row = postRow(tail);
    else if (group == Group::Write && isSlashOrNothing(tail))
        row = Route::Context;
    if (row == Route::None)
        return {};
    return {row, text.mid(idStart, idLength), fileName.toString()};
}

Route plainMessageRoute(Group group, const QString &text)
{
    if (group == Group::Read && text == QLatin1String("/message/event"))
        return {Route::MessageEvent, {}, {}};
    if (group == Group::Post && text == QLatin1String("/message"))
        return {Route::Message, {}, {}};
    return {};
}

/// What the table says about a URL whose text is a path of letters, digits and a few signs, found
/// without regular expressions. Such a text holds no scheme, host, query, fragment or percent sign,
/// so it is the decoded path too, and no line feed, before which "$" would match. Nothing for any
/// other text.
std::optional<Route> plainRoute(Group group, const QString &text)
{
    const bool isContext = text.startsWith(QLatin1String("/context"));
    if (!isContext && !text.startsWith(QLatin1String("/message")))
        return std::nullopt;
    if (!std::all_of(text.cbegin(), text.cend(), isPlainCharacter))
        return std::nullopt;
    return isContext ? plainContextRoute(group, text) : plainMessageRoute(group, text);
}

} // namespace

Route findRoute(Request::HttpMethod method, const QUrl &url)
{
    const Group group = groupOf(method);
    if (group == Group::None)
        return {};
    const QString text = url.toString();
    if (const std::optional<Route> plain = plainRoute(group, text))
        return *plain;
    return routeByTable(group, url, text);
}

bool hasTypeCheck(Route::Row row)
{
    return row == Route::Context || row == Route::Form || row == Route::Credentials ||
           row == Route::Message;
}
