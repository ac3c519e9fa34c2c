#pragma once

#include "http/accesspolicy.h"
#include "http/httpserver.h"

#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVector>

namespace host {

/// What the command line asks for. A value.
struct Options
{
    QVector<Endpoint> listen; ///< empty: the loopback addresses at `defaultPort`
    QString plugin;           ///< empty: the module beside the program
    QUrl exchange;            ///< empty: no broker. Holds a password: never log it
    QString exchangeCa;       ///< empty: the authorities that the system trusts
    QString workstation;      ///< this workstation's name on the broker
    QStringList consume;      ///< further broker exchanges to deliver
    QString eventExchange = QStringLiteral("kavo-context-events");
    qint64 maxBody = ServerLimits().body;
    int maxConnections = ServerLimits().connections;
    QStringList allowHosts;
    QStringList allowOrigins;
    QString tokenFile; ///< empty: no token asked for

    static constexpr quint16 defaultPort = 8480;
};

/// What a command line comes to: a run, a text for standard output, or a fault.
struct CommandLine
{
    enum Outcome { Run, Print, Fault };

    Outcome outcome = Run;
    Options options; ///< with Run
    QString text;    ///< with Print what to print; with Fault what is wrong, in one line
};

/// Reads the arguments, the program's name first. Never looks at files or the network.
CommandLine parseCommandLine(const QStringList &arguments);

} // namespace host
