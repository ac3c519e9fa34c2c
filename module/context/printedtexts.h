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

    /// Returns what is kept. A text above the limit displaces all others and is kept alone: it is
    /// the one that a crowd of waiting clients is about to ask for.
    QByteArray keep(const QString &id, const QByteArray &text)
    {
        constexpr int Overhead = 200; // of an entry, about
        const int cost =
            text.size() < MaximumBytes - Overhead ? text.size() + Overhead : MaximumBytes;
        QByteArray kept = exactCopy(text);
        m_texts.insert(id, std::make_unique<QByteArray>(kept).release(), cost);
        return kept;
    }

    void forget(const QString &id) { m_texts.remove(id); }

    int count() const { return m_texts.count(); }

private:
    /// Of a large text the printer's own array, without its spare room. A small one is copied: it
    /// then fits where an earlier text lay, while an array cut to size leaves a gap behind when it
    /// goes that no later one, larger while it is printed, fits into.
    static QByteArray exactCopy(QByteArray text)
    {
        constexpr int CheapToCopy = 64 * 1024;
        if (text.size() <= CheapToCopy)
            return {text.constData(), text.size()};
        text.squeeze();
        return text;
    }

    QCache<QString, QByteArray> m_texts{MaximumBytes};
};
