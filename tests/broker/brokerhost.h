#pragma once

#include "broker/brokerprocess.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

/// How a kavo-host joins the broker as that workstation.
support::HostSetup brokerSetup(const BrokerProcess &broker, const QString &workstation,
                               const QStringList &options = {},
                               const QString &user = QStringLiteral("guest"));

/// "exchange"/"broker" of GET /health; empty when there was no answer.
QString brokerState(quint16 port);

/// Waits until it is that; false when it never was.
bool waitForBroker(quint16 port, const QString &state = QStringLiteral("connected"));

/// Waits until GET answers 200 on the path, and returns what; null when it never did.
QByteArray waitForPage(quint16 port, const QByteArray &path);
