#include "broker/brokertopology.h"

#include "broker/brokerconnection.h"
#include "broker/brokerlog.h"

namespace host {
namespace {

constexpr int noSuchThing = 404;
constexpr int otherProperties = 406;

// What is wrong, when neither declaring nor finding it helps.
std::optional<ChannelFault> provideExchange(BrokerConnection *connection, const QByteArray &name)
{
    const auto fault = connection->declareExchange(name);
    if (!fault)
        return std::nullopt;
    const auto missing = connection->findExchange(name);
    if (!missing) {
        if (fault->code == otherProperties)
            qCInfo(lcBroker).noquote()
                << "The exchange" << name << "has other properties and is used as it is";
        return std::nullopt;
    }
    return missing->code == noSuchThing ? fault : missing; // the reason why it stays missing
}

void provideQueue(BrokerConnection *connection, const QByteArray &name)
{
    const auto fault = connection->declareQueue(name);
    if (!fault)
        return;
    const auto missing = connection->findQueue(name);
    if (missing)
        throw BrokerFailure(missing->code == noSuchThing ? fault->text : missing->text);
    if (fault->code == otherProperties)
        qCInfo(lcBroker).noquote()
            << "The queue" << name << "has other properties and is used as it is";
}

QStringList consumed(const BrokerSettings &settings)
{
    QStringList names = consumedExchanges() + settings.consume;
    names.removeDuplicates();
    return names;
}

} // namespace

QByteArray queueName(const BrokerSettings &settings)
{
    return "kavo-context." + settings.workstation.toUtf8();
}

void declarePublished(BrokerConnection *connection, const BrokerSettings &settings)
{
    const QStringList names{QStringLiteral("context-created"), QStringLiteral("context-removed"),
                            settings.eventExchange};
    for (const QString &name : names) {
        if (const auto fault = provideExchange(connection, name.toUtf8()))
            qCWarning(lcBroker).noquote()
                << "The exchange" << name << "cannot be used:" << fault->text;
    }
}

void declareConsumed(BrokerConnection *connection, const BrokerSettings &settings)
{
    const QByteArray queue = queueName(settings);
    provideQueue(connection, queue);
    const QByteArray keys[] = {settings.workstation.toUtf8(), QByteArrayLiteral("all"),
                               QByteArray()};
    for (const QString &name : consumed(settings)) {
        const QByteArray exchange = name.toUtf8();
        if (const auto fault = provideExchange(connection, exchange))
            throw BrokerFailure(fault->text);
        for (const QByteArray &key : keys) {
            if (const auto fault = connection->bindQueue(queue, exchange, key))
                throw BrokerFailure(fault->text);
        }
    }
}

} // namespace host
