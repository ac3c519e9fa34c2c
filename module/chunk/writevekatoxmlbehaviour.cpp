#include "chunk/writevekatoxmlbehaviour.h"

#include "chunk/cardnumbermap.h"

namespace {

const QRegularExpression uniqueId(QStringLiteral("<unique_id>([0-9]+)</unique_id>"));

} // namespace

WriteVekaToXmlBehaviour::WriteVekaToXmlBehaviour(CardNumberMap *cards)
    : m_cards(cards)
{
}

const QString &WriteVekaToXmlBehaviour::source() const
{
    static const QString source = QStringLiteral("veka");
    return source;
}

const QRegularExpression &WriteVekaToXmlBehaviour::numberPattern() const
{
    return uniqueId;
}

QString WriteVekaToXmlBehaviour::fileName(const QString &number)
{
    static const QString pattern = QStringLiteral("vkc_%1.xml");
    return pattern.arg(m_cards->insuredPersonNumber(number));
}
