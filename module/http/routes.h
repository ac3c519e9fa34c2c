#pragma once

#include <QtCore/QString>
#include <http/server/request.h>

class QUrl;

/// A row of the route table that a request matches, and what it captured from the URL.
struct Route
{
    /// The rows in their order; the numbers are those of the table in routes.cpp.
    enum Row {
        None,
        FileGet,
        Event,
        MessageEvent,
        Context,
        ContextCreate,
        FilePost,
        Form,
        Credentials,
        Message
    };

    Row row = None;
    QString contextId;
    QString fileName; ///< of FileGet, percent-decoded twice
};

/// The first row that serves `method` and matches `url`. The content type is not looked at: no two
/// rows of one method match the same URL, so a refused type leaves no other row to try.
Route findRoute(http::server::Request::HttpMethod method, const QUrl &url);

/// Whether the row takes only requests without content type, or with JSON.
bool hasTypeCheck(Route::Row row);
