#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QCache>
#include <QtCore/QString>

#include <memory>

/// The printed texts of the contexts last read, by id. Bounded, so that a store of many contexts is
/// not held twice in memory: what was used longest ago goes first. Whoever changes a context
/// forgets its text. Part of the ContextService, on its thread.
class PrintedTexts
{
public:
    static constexpr int MaximumBytes = 4 * 1024 * 1024;

    /// Null when there is none.
    const QByteArray *find(const QString &id) const { return m_texts.object(id); }

    /// A text above the limit displaces all others and is kept alone: it is the one that a crowd of
    /// waiting clients is about to ask for.
    void keep(const QString &id, const QByteArray &text)
    {
        constexpr int Overhead = 200; // of an entry, about
        const int cost =
            text.size() < MaximumBytes - Overhead ? text.size() + Overhead : MaximumBytes;
        m_texts.insert(id, std::make_unique<QByteArray>(text).release(), cost);
    }

    void forget(const QString &id) { m_texts.remove(id); }

    int count() const { return m_texts.count(); }

private:
    QCache<QString, QByteArray> m_texts{MaximumBytes};
};
