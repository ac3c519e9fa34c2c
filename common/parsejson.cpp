#include "common/parsejson.h"

#include "common/lostvalues.h"
#include "common/repeatedkeys.h"

namespace common {

QJsonDocument parseJson(const QByteArray &text, QJsonParseError *error)
{
    const bool maySkip = !mayRepeatKeys(text);
    return QJsonDocument::fromJson(maySkip ? text : withoutLostValues(text), error);
}

} // namespace common
