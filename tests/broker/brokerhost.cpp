#include "broker/brokerhost.h"

#include "support/deadline.h"

#include <chrono>

using namespace support;
using namespace std::chrono_literals;

namespace {

// A broker that starts again on a busy machine, and the pauses between attempts, take their time.
constexpr std::chrono::milliseconds brokerPatience = 180s;

} // namespace

HostSetup brokerSetup(const BrokerProcess &broker, const QString &workstation,
                      const QStringList &options, const QString &user)
{
    HostSetup setup;
    setup.options = QStringList{QStringLiteral("--exchange"), broker.url(user),
                                QStringLiteral("--workstation"), workstation} +
                    options;
    return setup;
}

QString brokerState(quint16 port)
{
    const HttpResponse response = HttpClient(port).exchange("GET", "/health");
    return response.json()
        .value(QLatin1String("exchange"))
        .toObject()
        .value(QLatin1String("broker"))
        .toString();
}

bool waitForBroker(quint16 port, const QString &state)
{
    // Asks a few times a second only: the broker needs the processor.
    return waitUntil(
        [&] {
            const bool isSo = brokerState(port) == state;
            if (!isSo)
                QThread::msleep(50);
            return isSo;
        },
        brokerPatience);
}

bool postNumbers(quint16 port, int first, int last, int padding)
{
    const QByteArray rest = ",\"text\":\"" + QByteArray(padding, 'x') + "\"}}";
    QByteArray body = "[";
    for (int number = first; number <= last; ++number)
        body += (number > first ? "," : "") +
                QByteArray(R"({"exchange":"kavo-context-rpc-set","body":{"_id":"n","n":)") +
                QByteArray::number(number) + rest;
    return HttpClient(port).exchange("POST", "/exchange/chunks", {}, body + ']').status == 202;
}

int numberIn(const AmqpMessage &event)
{
    const QJsonObject data = event.json().value(QLatin1String("data")).toObject();
    return data.value(QLatin1String("data")).toObject().value(QLatin1String("n")).toInt(-1);
}

QByteArray waitForPage(quint16 port, const QByteArray &path)
{
    HttpResponse response;
    waitUntil([&] {
        response = HttpClient(port).exchange("GET", path);
        return response.status == 200;
    });
    return response.status == 200 ? response.body : QByteArray();
}
