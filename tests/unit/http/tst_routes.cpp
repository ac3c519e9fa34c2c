#include "http/routes.h"

#include "routereference.h"

#include <QtCore/QUrl>
#include <QtCore/QVector>
#include <QtTest/QTest>
#include <random>

using http::server::Request;

Q_DECLARE_METATYPE(Route::Row)

namespace {

QUrl target(const QString &text)
{
    return QUrl::fromEncoded(text.toUtf8());
}

/// Draws URLs that are routes, nearly are, or hardly are, made in every way that a host may.
class UrlSource
{
public:
    QUrl next()
    {
        const QString text = nextText();
        switch (below(8)) {
        case 0:
            return QUrl(text);
        case 1:
            return QUrl(text, QUrl::StrictMode);
        case 2:
            return QUrl(QStringLiteral("http://localhost:8480") + text);
        case 3: {
            QUrl url;
            url.setPath(text, QUrl::DecodedMode);
            return url;
        }
        case 4: {
            QUrl url;
            url.setPath(text, QUrl::TolerantMode);
            if (below(2) == 0)
                url.setQuery(below(2) == 0 ? QString() : pick(pieces()));
            return url;
        }
        case 5:
            return QUrl::fromEncoded(text.toUtf8(), QUrl::StrictMode);
        default:
            return QUrl::fromEncoded(text.toUtf8());
        }
    }

    Request::HttpMethod nextMethod()
    {
        static const QVector<int> methods{Request::Get,  Request::Get,  Request::Delete,
                                          Request::Put,  Request::Post, Request::Post,
                                          Request::Post, Request::Head, Request::Unknown};
        return static_cast<Request::HttpMethod>(pick(methods));
    }

private:
    int below(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }

    template<typename T>
    T pick(const QVector<T> &values)
    {
        return values.at(below(values.size()));
    }

    static const QVector<QString> &routes()
    {
        static const QVector<QString> texts{QStringLiteral("/context/abc/file/x.pdf"),
                                            QStringLiteral("/context/Ab9/event"),
                                            QStringLiteral("/message/event"),
                                            QStringLiteral("/context/abc"),
                                            QStringLiteral("/context"),
                                            QStringLiteral("/context/abc/file"),
                                            QStringLiteral("/context/abc/$form"),
                                            QStringLiteral("/context/abc/credentials"),
                                            QStringLiteral("/message"),
                                            QStringLiteral("/context/abc$form")};
        return texts;
    }

    static const QVector<QString> &pieces()
    {
        static const QVector<QString> texts = [] {
            QVector<QString> made;
            for (const char *piece : {"/",
                                      "//",
                                      "/context",
                                      "/message",
                                      "/event",
                                      "/file",
                                      "/file/",
                                      "$form",
                                      "/$form",
                                      "/credentials",
                                      "context",
                                      "abc",
                                      "A",
                                      "z",
                                      "0",
                                      "9",
                                      "_",
                                      "-",
                                      ".",
                                      "..",
                                      "x.pdf",
                                      "%",
                                      "%%",
                                      "%2",
                                      "%61",
                                      "%2F",
                                      "%24",
                                      "%24form",
                                      "%25",
                                      "%2520",
                                      "%0A",
                                      "%0a",
                                      "%0D",
                                      "%00",
                                      "%C3%A4",
                                      "%g5",
                                      "%3F",
                                      "%23",
                                      "\n",
                                      "\r",
                                      " ",
                                      "+",
                                      "?",
                                      "??",
                                      "#",
                                      ":",
                                      "@",
                                      "$",
                                      "&",
                                      "=",
                                      "[",
                                      "]",
                                      "\\",
                                      "~",
                                      "^",
                                      "`",
                                      "{",
                                      "!",
                                      "http:",
                                      "//host",
                                      "?download=true&filename=y",
                                      "/../",
                                      "/./"})
                made.append(QString::fromLatin1(piece));
            made.append(QStringLiteral("\u00e4"));
            made.append(QStringLiteral("\u0661")); // a digit, but none of 0 to 9
            made.append(QString(QChar(0)));
            made.append(QString(QChar(0x2028)));
            return made;
        }();
        return texts;
    }

    QString nextText()
    {
        if (below(4) == 0) {
            QString text;
            for (int count = 1 + below(7); count > 0; --count)
                text += pick(pieces());
            return text;
        }
        QString text = pick(routes());
        if (below(2) == 0) // one that is a route unless something else is done to it
            text += below(2) == 0 ? QStringLiteral("/") : QString();
        for (int count = below(3); count > 0; --count)
            mutate(text);
        return text;
    }

    void mutate(QString &text)
    {
        const int position = below(text.size() + 1);
        switch (below(6)) {
        case 0:
            text.insert(position, pick(pieces()));
            break;
        case 1:
            text.append(pick(pieces()));
            break;
        case 2:
            text.remove(position, 1 + below(3));
            break;
        case 3:
            if (position < text.size()) // one character, percent-encoded
                text.replace(position, 1,
                             QLatin1Char('%') +
                                 QString::number(text.at(position).unicode() & 0xff, 16));
            break;
        case 4:
            if (position < text.size())
                text[position] = QChar(static_cast<ushort>(below(0x100)));
            break;
        default:
            text = text.left(position) + pick(routes());
            break;
        }
    }

    std::minstd_rand m_random{20200121};
};

} // namespace

class TestRoutes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void matches_data();
    void matches();
    void namesOfFilesAreDecodedTwice_data();
    void namesOfFilesAreDecodedTwice();
    void theFirstMatchingRowWins();
    void aFinalLineFeedMatchesAnEnd();
    void theTableIsAnsweredForEveryUrl();
    void noTwoRowsOfAMethodMatchTheSameUrl();
    void knowsTheRowsWithATypeCheck();
};

void TestRoutes::matches_data()
{
    QTest::addColumn<int>("method");
    QTest::addColumn<QString>("text");
    QTest::addColumn<Route::Row>("row");
    QTest::addColumn<QString>("id");
    const auto row = [](Request::HttpMethod method, const char *text, Route::Row expected,
                        const char *id = "") {
        static int number = 0;
        QTest::addRow("%d %s", ++number, text)
            << int(method) << QString::fromUtf8(text) << expected << QString::fromLatin1(id);
    };
    const auto none = [&](Request::HttpMethod method, const char *text) {
        row(method, text, Route::None);
    };

    row(Request::Get, "/context/abc/file/x.pdf", Route::FileGet, "abc");
    row(Request::Delete, "/context/A1/file/_-.%25", Route::FileGet, "A1");
    row(Request::Get, "/context/abc/file/x.pdf/", Route::FileGet, "abc");
    row(Request::Get, "/context/abc/file/x.pdf?download=true&filename=y.pdf", Route::FileGet,
        "abc");
    row(Request::Get, "/context/abc/file/x.pdf#part", Route::FileGet, "abc");
    row(Request::Get, "/context/a%2Ffile%2Fx", Route::FileGet, "a");
    row(Request::Get, "/%63ontext/a/file/x", Route::FileGet, "a");
    none(Request::Put, "/context/abc/file/x.pdf");
    none(Request::Post, "/context/abc/file/x.pdf");
    none(Request::Get, "/context/abc/file/");
    none(Request::Get, "/context/abc/file");
    none(Request::Get, "/context/abc/file//");
    none(Request::Get, "/context/abc/file/x/y");
    none(Request::Get, "/context/abc/file/x//");
    none(Request::Get, "/context/abc/file/a%20b.pdf");
    none(Request::Get, "/context/abc/file/a$b");
    none(Request::Get, "/context/abc/file/a+b");
    none(Request::Get, "/context/abc/file/a~b");
    none(Request::Get, "/context/abc/file/\u00e4");
    none(Request::Get, "/context/a-c/file/x.pdf");
    none(Request::Get, "/context//file/x.pdf");
    none(Request::Get, "/x/context/abc/file/x.pdf");

    row(Request::Get, "/context/abc/event", Route::Event, "abc");
    row(Request::Get, "/context/abc/event/", Route::Event, "abc");
    row(Request::Delete, "/context/abc/event", Route::Event, "abc");
    row(Request::Get, "/context/abc/%65vent", Route::Event, "abc");
    none(Request::Get, "/context/abc/event?");
    none(Request::Get, "/context/abc/event?x=1");
    none(Request::Get, "/context/abc/event#x");
    none(Request::Get, "/context/abc/event//");
    none(Request::Get, "/context/abc/events");
    none(Request::Get, "/context/abc/Event");
    none(Request::Get, "/context/abc/event/x");
    none(Request::Post, "/context/abc/event");
    none(Request::Put, "/context/abc/event");

    row(Request::Get, "/message/event", Route::MessageEvent);
    row(Request::Delete, "/message/event", Route::MessageEvent);
    none(Request::Get, "/message/event/");
    none(Request::Get, "/message/event?x");
    none(Request::Post, "/message/event");
    none(Request::Put, "/message/event");
    none(Request::Get, "/message/events");
    none(Request::Get, "//message/event");

    row(Request::Get, "/context/abc", Route::Context, "abc");
    row(Request::Get, "/context/abc/", Route::Context, "abc");
    row(Request::Put, "/context/abc", Route::Context, "abc");
    row(Request::Put, "/context/abc/", Route::Context, "abc");
    row(Request::Delete, "/context/abc", Route::Context, "abc");
    row(Request::Get, "/context/event", Route::Context, "event");
    row(Request::Get, "/context/%61bc", Route::Context, "abc");
    row(Request::Get, "/context/azAZ09", Route::Context, "azAZ09");
    none(Request::Get, "/context/abc?x=1");
    none(Request::Get, "/context/abc?");
    none(Request::Get, "/context/abc#");
    none(Request::Get, "/context/abc//");
    none(Request::Get, "/context/ab_c");
    none(Request::Get, "/context/ab.c");
    none(Request::Get, "/context/ab%20c");
    none(Request::Get, "/context/\u00e4");
    none(Request::Get, "/context/\u0661");
    none(Request::Get, "/context/");
    none(Request::Get, "/context");
    none(Request::Put, "/context");
    none(Request::Delete, "/context/");
    none(Request::Post, "/context/abc");
    none(Request::Head, "/context/abc");
    none(Request::Patch, "/context/abc");
    none(Request::Get, "/Context/abc");
    none(Request::Get, "/contexts/abc");
    none(Request::Get, "/contextabc");
    none(Request::Get, "context/abc");
    none(Request::Get, "http://localhost/context/abc");
    none(Request::Get, "//localhost/context/abc");

    row(Request::Post, "/context", Route::ContextCreate);
    row(Request::Post, "/context/", Route::ContextCreate);
    none(Request::Post, "/context//");
    none(Request::Post, "/context?x");
    none(Request::Post, "/contexts");
    none(Request::Post, "/contex");

    row(Request::Post, "/context/abc/file", Route::FilePost, "abc");
    row(Request::Post, "/context/abc/file/", Route::FilePost, "abc");
    none(Request::Post, "/context/abc/file//");
    none(Request::Post, "/context/abc/files");
    none(Request::Post, "/context//file");
    none(Request::Put, "/context/abc/file");

    row(Request::Post, "/context/abc/$form", Route::Form, "abc");
    row(Request::Post, "/context/abc$form", Route::Form, "abc");
    none(Request::Post, "/context/abc/%24form"); // stays encoded in the text
    none(Request::Post, "/context/abc/$form/");
    none(Request::Post, "/context/abc//$form");
    none(Request::Post, "/context/$form");
    none(Request::Post, "/context/abc/form");
    none(Request::Get, "/context/abc/$form");

    row(Request::Post, "/context/abc/credentials", Route::Credentials, "abc");
    row(Request::Post, "/context/abc/credentials/", Route::Credentials, "abc");
    none(Request::Post, "/context/abc/credentials//");
    none(Request::Post, "/context/abc/credential");
    none(Request::Put, "/context/abc/credentials");
    none(Request::Get, "/context/abc/credentials");

    row(Request::Post, "/message", Route::Message);
    none(Request::Post, "/message/");
    none(Request::Post, "/message?x");
    none(Request::Post, "/messages");
    none(Request::Get, "/message");
    none(Request::Put, "/message");
    none(Request::Delete, "/message");
    none(Request::Get, "/");
    none(Request::Get, "");
}

void TestRoutes::matches()
{
    QFETCH(int, method);
    QFETCH(QString, text);
    QFETCH(Route::Row, row);
    QFETCH(QString, id);
    const Route route = findRoute(static_cast<Request::HttpMethod>(method), target(text));
    QCOMPARE(route.row, row);
    QCOMPARE(route.contextId, id);
}

void TestRoutes::namesOfFilesAreDecodedTwice_data()
{
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *sent, const QString &name) {
        QTest::newRow(sent) << QString::fromLatin1(sent) << name;
    };
    row("x.pdf", QStringLiteral("x.pdf"));
    row("x.pdf/", QStringLiteral("x.pdf"));
    row("%78.pdf", QStringLiteral("x.pdf"));
    row("a%2520b.pdf", QStringLiteral("a b.pdf"));
    row("%25C3%25A4", QStringLiteral("\u00e4"));
    row("a%252Fb", QStringLiteral("a/b"));
    row("a%252520b", QStringLiteral("a%20b"));
    row("a%25g5", QStringLiteral("au")); // any two characters behind a percent sign are taken
    row("a%2500b", QString(QLatin1Char('a')) + QChar(0) + QLatin1Char('b'));
    row("a%25", QStringLiteral("a%"));
}

void TestRoutes::namesOfFilesAreDecodedTwice()
{
    QFETCH(QString, sent);
    QFETCH(QString, name);
    const Route route =
        findRoute(Request::Get, target(QStringLiteral("/context/abc/file/") + sent));
    QCOMPARE(route.row, Route::FileGet);
    QCOMPARE(route.fileName, name);
}

void TestRoutes::theFirstMatchingRowWins()
{
    // Its text is that of no route, its decoded path that of a file.
    const QUrl url = target(QStringLiteral("/context/a%2Ffile%2Fevent"));
    QCOMPARE(url.toString(), QStringLiteral("/context/a%2Ffile%2Fevent"));
    QCOMPARE(findRoute(Request::Get, url).row, Route::FileGet);
    QCOMPARE(findRoute(Request::Get, target(QStringLiteral("/context/file/event"))).row,
             Route::Event);
}

void TestRoutes::aFinalLineFeedMatchesAnEnd()
{
    const Route file =
        findRoute(Request::Get, target(QStringLiteral("/context/abc/file/x.pdf%0A")));
    QCOMPARE(file.row, Route::FileGet);
    QCOMPARE(file.fileName, QStringLiteral("x.pdf"));
    // In the text of a URL it stays encoded.
    QCOMPARE(findRoute(Request::Get, target(QStringLiteral("/context/abc%0A"))).row, Route::None);
    QCOMPARE(findRoute(Request::Get, target(QStringLiteral("/context/abc/file/x%0A%0A"))).row,
             Route::None);
}

void TestRoutes::theTableIsAnsweredForEveryUrl()
{
    UrlSource source;
    QVector<int> matches(Route::Message + 1);
    for (int i = 0; i < 100000; ++i) {
        const QUrl url = source.next();
        const Request::HttpMethod method = source.nextMethod();
        const Route expected = reference::firstRoute(method, url);
        const Route found = findRoute(method, url);
        ++matches[expected.row];
        if (found.row != expected.row || found.contextId != expected.contextId ||
            found.fileName != expected.fileName) {
            QFAIL(qPrintable(QStringLiteral("method %1, row %2 instead of %3: %4")
                                 .arg(method)
                                 .arg(found.row)
                                 .arg(expected.row)
                                 .arg(url.toString())));
        }
    }
    for (const int count : matches)
        QVERIFY(count > 500); // every row had its say
}

void TestRoutes::noTwoRowsOfAMethodMatchTheSameUrl()
{
    // So a row that refuses the content type leaves no other row to try.
    UrlSource source;
    int matches = 0;
    for (int i = 0; i < 20000; ++i) {
        const QUrl url = source.next();
        for (const auto method : {Request::Get, Request::Post, Request::Put}) {
            const int count = reference::matchingRoutes(method, url).size();
            QVERIFY(count < 2);
            matches += count;
        }
    }
    QVERIFY(matches > 5000);
}

void TestRoutes::knowsTheRowsWithATypeCheck()
{
    QVector<int> checked;
    for (int row = Route::None; row <= Route::Message; ++row) {
        if (hasTypeCheck(static_cast<Route::Row>(row)))
            checked.append(row);
    }
    QCOMPARE(checked, (QVector<int>{4, 7, 8, 9}));
}

QTEST_GUILESS_MAIN(TestRoutes)
#include "tst_routes.moc"
