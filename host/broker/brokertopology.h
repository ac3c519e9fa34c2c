#pragma once

class QByteArray;

namespace host {

class BrokerConnection;
struct BrokerSettings;

/// "kavo-context.<workstation>"
QByteArray queueName(const BrokerSettings &settings);

/// Declares what the module's chunks go to, where it is missing; what exists is used as it is. What
/// cannot be declared is a warning: who publishes there is told.
void declarePublished(BrokerConnection *connection, const BrokerSettings &settings);

/// The same of the exchanges that are consumed, and the queue with its bindings. Throws a
/// BrokerFailure when the broker refuses one of them: chunks would not arrive.
void declareConsumed(BrokerConnection *connection, const BrokerSettings &settings);

} // namespace host
