#pragma once

#include "http/routes.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>
#include <QtCore/QVector>

/// The route table written down literally, without any short cut: what findRoute is measured by.
namespace reference {

struct TableRow
{
    Route::Row row;
    QVector<int> methods;
    QRegularExpression pattern;
    bool matchesPath;
};

inline const QVector<TableRow> &table()
{
    using http::server::Request;
    const QVector<int> reads{Request::Get, Request::Delete};
    const QVector<int> all{Request::Get, Request::Delete, Request::Put};
    const QVector<int> post{Request::Post};
    const auto pattern = [](const char *text) {
        return QRegularExpression(QString::fromLatin1(text));
    };
    static const QVector<TableRow> rows{
        {Route::FileGet, reads,
         pattern("^\\/context\\/([a-zA-Z0-9]+)\\/file\\/([a-zA-Z0-9_\\-\\.%]+)\\/?$"), true},
        {Route::Event, reads, pattern("^\\/context\\/([a-zA-Z0-9]+)\\/event\\/?$"), false},
        {Route::MessageEvent, reads, pattern("^\\/message\\/event$"), false},
        {Route::Context, all, pattern("^\\/context\\/([a-zA-Z0-9]+)\\/?$"), false},
        {Route::ContextCreate, post, pattern("^\\/context\\/?$"), false},
        {Route::FilePost, post, pattern("^\\/context\\/([a-zA-Z0-9]+)\\/file\\/?$"), false},
        {Route::Form, post, pattern("^\\/context\\/([a-zA-Z0-9]+)\\/?\\$form$"), false},
        {Route::Credentials, post, pattern("^\\/context\\/([a-zA-Z0-9]+)\\/credentials\\/?$"),
         false},
        {Route::Message, post, pattern("^\\/message$"), false},
    };
    return rows;
}

/// Every row that matches, in the order of the table.
inline QVector<Route> matchingRoutes(http::server::Request::HttpMethod method, const QUrl &url)
{
    QVector<Route> found;
    for (const TableRow &row : table()) {
        if (!row.methods.contains(method))
            continue;
        const QString subject = row.matchesPath ? url.path(QUrl::FullyDecoded) : url.toString();
        const QRegularExpressionMatch match = row.pattern.match(subject);
        if (!match.hasMatch())
            continue;
        Route route;
        route.row = row.row;
        route.contextId = match.captured(1);
        if (row.row == Route::FileGet)
            route.fileName = QUrl::fromPercentEncoding(match.captured(2).toUtf8());
        found.append(route);
    }
    return found;
}

inline Route firstRoute(http::server::Request::HttpMethod method, const QUrl &url)
{
    return matchingRoutes(method, url).value(0);
}

} // namespace reference
