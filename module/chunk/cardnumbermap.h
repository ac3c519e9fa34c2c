#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>

class QJsonValue;

/// Which insured person number belongs to which cardholder identifier, as learned from the vk-adm
/// card documents that went by. Owned by the plug-in object, filled by the ChunkListener, read by
/// the VeKa export. Never pruned.
class CardNumberMap
{
public:
    /// Learns from a chunk whose "source" is "Kavo" and whose "data" is a text that is not empty. A
    /// document without the two numbers stores an empty number under the empty identifier.
    void learn(const QJsonValue &chunk);

    /// The number for `cardholderIdentifier`. An unknown identifier is entered with an empty
    /// number.
    QString insuredPersonNumber(const QString &cardholderIdentifier);

    const QMap<QString, QString> &entries() const { return m_numbers; }

private:
    QMap<QString, QString> m_numbers;
};
