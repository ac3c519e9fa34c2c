#pragma once

#include "chunk/writexmlbehaviour.h"

/// Writes a vk-adm document under the insured person number that it holds.
class WriteCardToXmlBehaviour final : public WriteXmlBehaviour
{
private:
    const QString &source() const override;
    const QRegularExpression &numberPattern() const override;
    QString fileName(const QString &number) override;
};
