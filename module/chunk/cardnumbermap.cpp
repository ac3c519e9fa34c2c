#include "chunk/cardnumbermap.h"

#include "chunk/carddocument.h"

#include <QtCore/QJsonValue>

namespace {

const QRegularExpression cardholderIdentifier(QStringLiteral("<vk-adm:cardholderIdentifier>([0-9]+)"
                                                             "</vk-adm:cardholderIdentifier>"));
const QRegularExpression insuredPersonNumberInCard = insuredPersonNumberPattern();

} // namespace

void CardNumberMap::learn(const QJsonValue &chunk)
{
    const QString document = cardDocument(chunk, vkAdmSource());
    if (document.isEmpty())
        return;
    const QRegularExpressionMatch holder = cardholderIdentifier.match(document);
    const QRegularExpressionMatch insured =
        holder.hasMatch() ? insuredPersonNumberInCard.match(document) : QRegularExpressionMatch();
    // Both or neither. For whoever inspects the map: an entry under the empty identifier says that
    // a card without the two numbers went by.
    if (insured.hasMatch())
        m_numbers.insert(holder.captured(1), insured.captured(1));
    else
        m_numbers.insert(QString(), QString());
}

QString CardNumberMap::insuredPersonNumber(const QString &identifier)
{
    return m_numbers[identifier];
}
