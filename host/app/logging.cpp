#include "app/logging.h"

#include <cstdio>

namespace host {

Q_LOGGING_CATEGORY(lcApp, "kavo.host.app")

namespace {

// Qt itself would write to the system's journal or debugger where there is no terminal.
void writeToStandardError(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QString line = qFormatLogMessage(type, context, message);
    if (line.isNull())
        return; // a pattern may leave out kinds of lines
    const QByteArray text = line.toLocal8Bit() + '\n';
    std::fwrite(text.constData(), 1, std::size_t(text.size()), stderr);
    std::fflush(stderr);
}

} // namespace

void setUpLogging()
{
    qInstallMessageHandler(writeToStandardError);
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
}

} // namespace host
