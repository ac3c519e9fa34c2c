#include "context/contextid.h"

#include <QtCore/QtGlobal>

QString contextIdOfSecond(qint64 second)
{
    constexpr int Length = 16;
    constexpr char Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    constexpr int Letters = sizeof(Alphabet) - 1;

    // The deprecated generator is the contract: its successor would draw other ids for a second.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    qsrand(static_cast<uint>(second));
    QString id(Length, Qt::Uninitialized);
    for (QChar &letter : id)
        letter = QLatin1Char(Alphabet[qrand() % Letters]);
    QT_WARNING_POP
    return id;
}
