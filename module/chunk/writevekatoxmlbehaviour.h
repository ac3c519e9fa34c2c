#pragma once

#include "chunk/writexmlbehaviour.h"

class CardNumberMap;

/// Writes a VeKa document under the insured person number that was learned for its card, or under
/// none (vkc_.xml) when the card is unknown. The map is not owned.
class WriteVekaToXmlBehaviour final : public WriteXmlBehaviour
{
public:
    explicit WriteVekaToXmlBehaviour(CardNumberMap *cards);

private:
    const QString &source() const override;
    const QRegularExpression &numberPattern() const override;
    QString fileName(const QString &number) override;

    CardNumberMap *m_cards;
};
