#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QLoggingCategory>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace support {

struct LogLine
{
    QtMsgType level = QtDebugMsg;
    QString category;
    QString message;

    bool operator==(const LogLine &other) const
    {
        return level == other.level && category == other.category && message == other.message;
    }
};

/// Captures what is logged during its lifetime, in order, instead of printing it. Filter rules such
/// as "ch.brenlo.*.debug=true" hold for the same time; by default everything below "ch.brenlo" is
/// on, debug included. Lives in a test function, on its thread; one at a time.
class LogCapture
{
public:
    explicit LogCapture(
        const QString &rules = QStringLiteral("*.debug=false\nch.brenlo.*.debug=true"))
    {
        QLoggingCategory::setFilterRules(rules);
        current() = this;
        m_previous = qInstallMessageHandler(&LogCapture::capture);
    }

    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        current() = nullptr;
        QLoggingCategory::setFilterRules(QString());
    }

    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    const QVector<LogLine> &lines() const { return m_lines; }

    /// The lines of one category.
    QVector<LogLine> lines(const QString &category) const
    {
        QVector<LogLine> found;
        for (const LogLine &line : m_lines) {
            if (line.category == category)
                found.append(line);
        }
        return found;
    }

    bool contains(QtMsgType level, const QString &category, const QString &message) const
    {
        return m_lines.contains(LogLine{level, category, message});
    }

    void clear() { m_lines.clear(); }

private:
    static LogCapture *&current()
    {
        static LogCapture *capture = nullptr;
        return capture;
    }

    static void capture(QtMsgType level, const QMessageLogContext &context, const QString &message)
    {
        if (current())
            current()->m_lines.append({level, QString::fromUtf8(context.category), message});
    }

    QVector<LogLine> m_lines;
    QtMessageHandler m_previous = nullptr;
};

} // namespace support
