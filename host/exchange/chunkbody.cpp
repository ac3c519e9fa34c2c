#include "exchange/chunkbody.h"

#include "common/parsejson.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cstring>

namespace host {
namespace {

QString typeName(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return QStringLiteral("a boolean");
    case QJsonValue::Double:
        return QStringLiteral("a number");
    case QJsonValue::String:
        return QStringLiteral("a string");
    case QJsonValue::Array:
        return QStringLiteral("an array");
    default:
        return QStringLiteral("null");
    }
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

int firstNonBlank(const QByteArray &text)
{
    const auto found = std::find_if_not(text.begin(), text.end(), isBlank);
    return int(found - text.begin());
}

// Where the element `index` of the array begins that is all of `json`, which is known to be one.
int elementOffset(const QByteArray &json, int index)
{
    int depth = 0;
    bool inText = false;
    int offset = 0;
    for (int commas = 0; offset < json.size(); ++offset) {
        const char c = json.at(offset);
        if (depth == 1 && commas == index && !inText && !isBlank(c) && c != ',')
            return offset;
        if (inText && c == '\\')
            ++offset;
        else if (c == '"')
            inText = !inText;
        else if (!inText && (c == '[' || c == '{'))
            ++depth;
        else if (!inText && (c == ']' || c == '}'))
            --depth;
        else if (!inText && c == ',' && depth == 1)
            ++commas;
    }
    return offset;
}

} // namespace

std::optional<QVector<QJsonObject>> readChunkBody(const QByteArray &body, QString *error)
{
    QJsonParseError fault;
    const QJsonDocument document = common::parseJson(body, &fault);
    if (fault.error != QJsonParseError::NoError) {
        // Qt gives the end of a scalar, where the fault is that it is one.
        const int begin = firstNonBlank(body);
        const bool isScalar = begin == body.size() || !std::strchr("{[\xef", body.at(begin));
        *error = QStringLiteral("Not a JSON object or an array of objects: %1 at offset %2")
                     .arg(fault.errorString())
                     .arg(isScalar ? begin : fault.offset);
        return std::nullopt;
    }
    if (document.isObject())
        return QVector<QJsonObject>{document.object()};

    QVector<QJsonObject> chunks;
    const QJsonArray elements = document.array();
    chunks.reserve(elements.size());
    for (const QJsonValue element : elements) {
        if (!element.isObject()) {
            *error = QStringLiteral("Element %1 at offset %2 is %3, not a JSON object")
                         .arg(chunks.size())
                         .arg(elementOffset(body, chunks.size()))
                         .arg(typeName(element));
            return std::nullopt;
        }
        chunks.append(element.toObject());
    }
    return chunks;
}

} // namespace host
