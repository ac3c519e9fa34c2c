#include "refusedrequests.h"

#include "support/httpclient.h"

using support::requestBytes;

namespace refused {

namespace {

// A request with a head that is well but for these lines.
QByteArray withFields(const QByteArray &lines, const QByteArray &body = {})
{
    return "PUT /context/refused HTTP/1.1\r\nHost: localhost\r\n" + lines + "\r\n" + body;
}

QByteArray withHost(const QByteArray &value)
{
    return "PUT /context/refused HTTP/1.1\r\nHost: " + value + "\r\nContent-Length: 2\r\n\r\n{}";
}

QByteArray chunkedWith(const QByteArray &body)
{
    return withFields("Transfer-Encoding: chunked\r\n", body);
}

QByteArray withRequestLine(const QByteArray &line)
{
    return line + "\r\nHost: localhost\r\n\r\n";
}

void addLineRows(QVector<Request> *rows)
{
    rows->append({"LF alone ends every line", 400, "GET /health HTTP/1.1\nHost: localhost\n\n"});
    rows->append(
        {"LF alone ends the request line", 400, "GET /health HTTP/1.1\nHost: localhost\r\n\r\n"});
    rows->append({"LF alone ends a field", 400, withFields("X: 1\nContent-Length: 2\r\n", "{}")});
    rows->append(
        {"LF alone ends the section", 400, "GET /health HTTP/1.1\r\nHost: localhost\r\n\n"});
    rows->append({"CR alone in a value", 400, withFields("X: a\rContent-Length: 2\r\n", "{}")});
    rows->append({"two CR before LF", 400, withFields("X: a\r\r\n")});
    rows->append({"a field folded with a blank", 400, withFields("X: a\r\n b\r\n")});
    rows->append(
        {"a field folded with a tab", 400, withFields("X: a\r\n\tContent-Length: 2\r\n", "{}")});
    rows->append({"a field folded to nothing", 400, withFields("X: a\r\n \r\n")});
    rows->append({"the first field is folded", 400,
                  "GET /health HTTP/1.1\r\n Host: localhost\r\nHost: localhost\r\n\r\n"});
    rows->append({"a field without colon", 400, withFields("Nonsense\r\n")});
    rows->append({"a field without name", 400, withFields(": x\r\n")});
    rows->append({"a blank before the colon", 400, withFields("Content-Length : 2\r\n", "{}")});
    rows->append({"a parenthesis in a name", 400, withFields("X(Y: 1\r\n")});
    rows->append({"NUL in a name", 400, withFields(QByteArray("X\0Y: 1\r\n", 8))});
    rows->append({"NUL in a value", 400, withFields(QByteArray("X: a\0b\r\n", 8))});
    rows->append({"a control character in a value", 400, withFields("X: a\x01\r\n")});
    rows->append({"DEL in a value", 400, withFields("X: a\x7f\r\n")});
    rows->append({"two empty lines first", 400, "\r\n\r\n" + requestBytes("GET", "/health")});
}

void addRequestLineRows(QVector<Request> *rows)
{
    rows->append({"no version", 400, withRequestLine("GET /health")});
    rows->append({"no target", 400, withRequestLine("GET HTTP/1.1")});
    rows->append({"two blanks", 400, withRequestLine("GET  /health HTTP/1.1")});
    rows->append({"a word too many", 400, withRequestLine("GET /health x HTTP/1.1")});
    rows->append({"a blank at the end", 400, withRequestLine("GET /health HTTP/1.1 ")});
    rows->append({"a blank at the start", 400, withRequestLine(" GET /health HTTP/1.1")});
    rows->append({"tabs", 400, withRequestLine("GET\t/health\tHTTP/1.1")});
    rows->append(
        {"NUL in the target", 400, withRequestLine(QByteArray("GET /he\0lth HTTP/1.1", 20))});
    rows->append(
        {"bytes beyond ASCII in the target", 400, withRequestLine("GET /h\xc3\xa4lth HTTP/1.1")});
    rows->append({"a fragment", 400, withRequestLine("GET /health#x HTTP/1.1")});
    rows->append({"a quotation mark in the target", 400, withRequestLine("GET /\"x\" HTTP/1.1")});
    rows->append({"an escape that is none", 400, withRequestLine("GET /%zz HTTP/1.1")});
    rows->append({"half an escape", 400, withRequestLine("GET /x%4 HTTP/1.1")});
    rows->append({"a target without slash", 400, withRequestLine("GET health HTTP/1.1")});
    rows->append({"GET *", 400, withRequestLine("GET * HTTP/1.1")});
    rows->append({"CONNECT of a path", 400, withRequestLine("CONNECT /health HTTP/1.1")});
    rows->append(
        {"absolute form without host", 400, withRequestLine("GET http:///health HTTP/1.1")});
    rows->append(
        {"absolute form with a user", 400, withRequestLine("GET http://u@localhost/ HTTP/1.1")});
    rows->append({"an answer instead of a request", 400, withRequestLine("HTTP/1.1 200 OK")});
    rows->append(
        {"a TLS greeting", 400, QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11)});
    rows->append({"an unknown method", 501, withRequestLine("BREW /health HTTP/1.1")});
    rows->append({"a method of WebDAV", 501, withRequestLine("PROPFIND /health HTTP/1.1")});
    rows->append({"a method in small letters", 501, withRequestLine("get /health HTTP/1.1")});
    rows->append({"a method that is no token", 400, withRequestLine("GE(T /health HTTP/1.1")});
    rows->append({"HTTP/2.0", 505, withRequestLine("GET /health HTTP/2.0")});
    rows->append({"HTTP/1.2", 505, withRequestLine("GET /health HTTP/1.2")});
    rows->append({"HTTP/0.9", 505, withRequestLine("GET /health HTTP/0.9")});
    rows->append({"the greeting of HTTP/2", 505, "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"});
    rows->append({"a CR behind the version", 400, withRequestLine("GET /health HTTP/1.1\r")});
    rows->append({"a version of two digits", 400, withRequestLine("GET /health HTTP/1.10")});
    rows->append({"a version in small letters", 400, withRequestLine("GET /health http/1.1")});
    rows->append({"a version without point", 400, withRequestLine("GET /health HTTP/11")});
}

void addHostRows(QVector<Request> *rows)
{
    rows->append({"no Host", 400, "GET /health HTTP/1.1\r\n\r\n"});
    rows->append({"no Host in HTTP/1.0", 400, "GET /health HTTP/1.0\r\n\r\n"});
    rows->append({"two Hosts", 400, withFields("Host: localhost\r\n")});
    rows->append({"no Host in absolute form", 400, "GET http://localhost/health HTTP/1.1\r\n\r\n"});
    rows->append({"an empty Host", 400, withHost("")});
    rows->append({"a Host of two words", 400, withHost("local host")});
    rows->append({"a list of Hosts", 400, withHost("localhost/, localhost")});
    rows->append({"a path in Host", 400, withHost("localhost/health")});
    rows->append({"a user in Host", 400, withHost("user@localhost")});
    rows->append({"a port that is no number", 400, withHost("localhost:http")});
    rows->append({"two ports", 400, withHost("localhost:1:2")});
    rows->append({"a port too long", 400, withHost("localhost:1234567")});
    rows->append({"half a bracket", 400, withHost("[::1")});
    rows->append({"text behind a bracket", 400, withHost("[::1]x")});
    rows->append({"an escape in Host that is none", 400, withHost("local%host")});
}

void addFramingRows(QVector<Request> *rows)
{
    const QByteArray chunk = "2\r\n{}\r\n0\r\n\r\n";
    rows->append({"Content-Length, then Transfer-Encoding", 400,
                  withFields("Content-Length: 2\r\nTransfer-Encoding: chunked\r\n", chunk)});
    rows->append({"Transfer-Encoding, then Content-Length", 400,
                  withFields("Transfer-Encoding: chunked\r\nContent-Length: 2\r\n", chunk)});
    rows->append(
        {"two equal lengths", 400, withFields("Content-Length: 2\r\nContent-Length: 2\r\n", "{}")});
    rows->append({"two different lengths", 400,
                  withFields("Content-Length: 2\r\nContent-Length: 0\r\n", "{}")});
    for (const char *length : {"2, 2", "2,0", "+2", "-2", "0x2", "2 2", "2a", "", "2.0", "\"2\"",
                               "2;x", "18446744073709551618x"}) {
        rows->append({QByteArray("Content-Length: ") + length, 400,
                      withFields(QByteArray("Content-Length: ") + length + "\r\n", "{}")});
    }
    rows->append({"two lengths beyond 64 bits", 400,
                  withFields("Content-Length: 18446744073709551618\r\n"
                             "Content-Length: 18446744073709551618\r\n",
                             "{}")});
    rows->append({"a length beyond 64 bits, then Transfer-Encoding", 400,
                  withFields("Content-Length: 18446744073709551618\r\n"
                             "Transfer-Encoding: chunked\r\n",
                             chunk)});
    for (const char *coding : {"chunked, gzip", "gzip", "identity", "chunked, chunked", "xchunked",
                               "chunked x", "chunked;q=1", "\"chunked\"", "", "chunked\x0b"}) {
        rows->append({QByteArray("Transfer-Encoding: ") + coding, 400,
                      withFields(QByteArray("Transfer-Encoding: ") + coding + "\r\n", chunk)});
    }
    rows->append({"a coding before chunked", 501,
                  withFields("Transfer-Encoding: gzip, chunked\r\n", chunk)});
    rows->append({"a coding before chunked, in two fields", 501,
                  withFields("Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n", chunk)});
    rows->append(
        {"chunked in two fields", 400,
         withFields("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", chunk)});
    rows->append(
        {"a transfer coding in HTTP/1.0", 400,
         "PUT /context/refused HTTP/1.0\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n" +
             chunk});
}

void addChunkRows(QVector<Request> *rows)
{
    for (const char *size : {"g", "-2", "+2", "", " 2", "2 ", "0x2", "2,", "2 x", "\t2"}) {
        rows->append({QByteArray("a chunk of size ") + size, 400,
                      chunkedWith(QByteArray(size) + "\r\n{}\r\n0\r\n\r\n")});
    }
    rows->append({"LF alone behind a size", 400, chunkedWith("2\n{}\r\n0\r\n\r\n")});
    rows->append({"LF alone behind a chunk", 400, chunkedWith("2\r\n{}\n0\r\n\r\n")});
    rows->append({"a chunk longer than its size", 400, chunkedWith("2\r\n{}}\r\n0\r\n\r\n")});
    rows->append({"no line end behind a chunk", 400, chunkedWith("2\r\n{}0\r\n\r\n")});
    rows->append({"CR alone in an extension", 400, chunkedWith("2;a\rb\r\n{}\r\n0\r\n\r\n")});
    rows->append({"LF alone in an extension", 400, chunkedWith("2;a\nb\r\n{}\r\n0\r\n\r\n")});
    rows->append(
        {"NUL in an extension", 400, chunkedWith(QByteArray("2;\0\r\n{}\r\n0\r\n\r\n", 14))});
    rows->append({"an extension without name", 400, chunkedWith("2;=x\r\n{}\r\n0\r\n\r\n")});
    rows->append({"an extension that does not end", 400,
                  chunkedWith("2;" + QByteArray(40000, 'x') + "\r\n{}\r\n0\r\n\r\n")});
    rows->append({"a trailer without colon", 400, chunkedWith("2\r\n{}\r\n0\r\nNonsense\r\n\r\n")});
    rows->append({"a folded trailer", 400, chunkedWith("2\r\n{}\r\n0\r\nX: a\r\n b\r\n\r\n")});
    rows->append({"LF alone ends a trailer", 400, chunkedWith("2\r\n{}\r\n0\r\nX: a\n\r\n")});
    rows->append({"a Content-Length among the trailers", 400,
                  chunkedWith("2\r\n{}\r\n0\r\nContent-Length: 2\r\n\r\n")});
    rows->append({"LF alone ends the body", 400, chunkedWith("2\r\n{}\r\n0\r\n\n")});
}

void addLimitRows(QVector<Request> *rows)
{
    rows->append({"a request line too long", 414, withRequestLineOf(requestLineLimit + 1)});
    rows->append({"a request line that does not end", 414, QByteArray(3 * requestLineLimit, 'G')});
    rows->append({"a header section too large", 431, withHeaderSectionOf(headerSectionLimit + 1)});
    rows->append({"a field that does not end", 431,
                  "GET /health HTTP/1.1\r\nX: " + QByteArray(3 * headerSectionLimit, 'x')});
    rows->append({"a body too large", 413,
                  withFields("Content-Length: " + QByteArray::number(bodyLimit + 1) + "\r\n",
                             jsonOf(bodyLimit + 1))});
    rows->append({"a chunk too large", 413,
                  chunkedWith(QByteArray::number(bodyLimit + 1, 16) + "\r\n" +
                              jsonOf(bodyLimit + 1) + "\r\n0\r\n\r\n")});
    rows->append(
        {"a chunk of almost 64 bits", 413, chunkedWith("ffffffffffffffff\r\n{}\r\n0\r\n\r\n")});
    rows->append({"a length beyond 64 bits", 413,
                  withFields("Content-Length: 18446744073709551618\r\n", "{}")});
    for (const char *size : {"fffffffffffffffff", "10000000000000002", "0010000000000000002;x"}) {
        rows->append({QByteArray("a chunk of more than 64 bits, ") + size, 413,
                      chunkedWith(QByteArray(size) + "\r\n{}\r\n0\r\n\r\n")});
    }
    QByteArray chunks;
    for (int i = 0; i <= bodyLimit; ++i)
        chunks += "1\r\n \r\n";
    rows->append({"chunks too many", 413, chunkedWith(chunks + "0\r\n\r\n")});
}

} // namespace

QByteArray withRequestLineOf(int size)
{
    const QByteArray start = "GET /";
    const QByteArray end = " HTTP/1.1";
    return withRequestLine(start + QByteArray(size - start.size() - end.size(), 'a') + end);
}

QByteArray withHeaderSectionOf(int size)
{
    QByteArray section = "Host: localhost\r\n";
    while (size - section.size() > 2000)
        section += "X-Filler: " + QByteArray(1000, 'f') + "\r\n";
    const QByteArray name = "X-Rest: ";
    section += name + QByteArray(size - section.size() - name.size() - 2, 'r') + "\r\n";
    return "GET /health HTTP/1.1\r\n" + section + "\r\n";
}

QByteArray jsonOf(int size)
{
    return '{' + QByteArray(size - 2, ' ') + '}';
}

QVector<Request> requests()
{
    QVector<Request> rows;
    addLineRows(&rows);
    addRequestLineRows(&rows);
    addHostRows(&rows);
    addFramingRows(&rows);
    addChunkRows(&rows);
    addLimitRows(&rows);
    return rows;
}

} // namespace refused
