#include "chunk/writecardtoxmlbehaviour.h"

#include "chunk/carddocument.h"

namespace {

const QRegularExpression insuredPersonNumber = insuredPersonNumberPattern();

} // namespace

const QString &WriteCardToXmlBehaviour::source() const
{
    return vkAdmSource();
}

const QRegularExpression &WriteCardToXmlBehaviour::numberPattern() const
{
    return insuredPersonNumber;
}

QString WriteCardToXmlBehaviour::fileName(const QString &number)
{
    static const QString pattern = QStringLiteral("adm_%1.xml");
    return pattern.arg(number);
}
