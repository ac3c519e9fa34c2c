#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <utility>

/// What happened to the stand-ins, in order. Emptied by each test function.
inline QStringList &journal()
{
    static QStringList entries;
    return entries;
}

/// Base of a stand-in: notes its coming and going.
class Journaled
{
public:
    explicit Journaled(QString name)
        : m_name(std::move(name))
    {
        journal().append(QStringLiteral("+") + m_name);
    }

    ~Journaled() { journal().append(QStringLiteral("-") + m_name); }

    Journaled(const Journaled &) = delete;
    Journaled &operator=(const Journaled &) = delete;

private:
    QString m_name;
};
