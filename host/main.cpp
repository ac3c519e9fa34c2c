#include "app/application.h"
#include "app/logging.h"
#include "app/options.h"
#include "app/shutdownsignal.h"

#include <QtCore/QCoreApplication>

#include <cstdio>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

// Exit codes that scripts and service managers see.
constexpr int success = 0;
constexpr int failure = 1;
constexpr int wrongUsage = 2;

// Standard output carries the ready line and what --help and --version print, nothing else.
void printOut(const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

void printError(const QString &line)
{
    std::fputs(("kavo-host: " + line.toLocal8Bit() + '\n').constData(), stderr);
}

void tuneProcess()
{
    // Qt's own event loop takes fewer system calls for each turn than GLib's, which nobody here
    // needs.
    qputenv("QT_NO_GLIB", "1");
#ifdef __GLIBC__
    // The memory of one large body serves the next: a fresh block would have to be cleared by the
    // system first, which takes as long as everything else that is done with it.
    constexpr int mebibyte = 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, 32 * mebibyte); // the most that is allowed
    mallopt(M_TRIM_THRESHOLD, 64 * mebibyte);
#endif
}

} // namespace

int main(int argc, char *argv[])
{
    tuneProcess();
    QCoreApplication core(argc, argv);
    host::Application::setNames();
    const host::CommandLine command = host::parseCommandLine(core.arguments());
    if (command.outcome == host::CommandLine::Print) {
        printOut(command.text);
        return success;
    }
    if (command.outcome == host::CommandLine::Fault) {
        printError(command.text + QStringLiteral(" (see kavo-host --help)"));
        return wrongUsage;
    }

    host::setUpLogging();
    const host::ShutdownSignal signal([] { QCoreApplication::quit(); });
    host::Application application(command.options);
    QString error;
    if (!application.start(&error)) {
        printError(error);
        return failure;
    }
    printOut(QStringLiteral("kavo-host ready: %1\n").arg(application.url()));
    QCoreApplication::exec();
    application.shutDown();
    return success;
}
