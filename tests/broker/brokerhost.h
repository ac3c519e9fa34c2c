#pragma once

#include "broker/amqpclient.h"
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

/// Has the module set the context "n" to each of the numbers, `first` to `last`, in one request of
/// the embedded exchange: each publishes an event. False when that was not answered 202.
bool postNumbers(quint16 port, int first, int last, int padding = 0);

/// The number in the event of such a change; negative where there is none.
int numberIn(const AmqpMessage &event);

/// Waits until GET answers 200 on the path, and returns what; null when it never did.
QByteArray waitForPage(quint16 port, const QByteArray &path);
