#include "broker/brokerworker.h"

#include "broker/brokerlog.h"
#include "broker/brokermapping.h"
#include "broker/brokertopology.h"
#include "broker/handover.h"

#include <QtCore/QRandomGenerator>

#include <poll.h>

namespace host {
namespace {

using std::chrono::milliseconds;

constexpr int batch = 128;                   // messages each way before the other has its turn
constexpr milliseconds heartbeatCheck(1000); // the library looks after heartbeats when it is called
constexpr milliseconds goodConnection(10000);
constexpr int mostRefusing = 1000;
constexpr int noPermission = 403;
constexpr int noSuchThing = 404;

// The default exchange has no name to be told by.
QByteArray destination(const OutgoingMessage &message)
{
    return message.exchange.isEmpty() ? "the queue " + message.routingKey
                                      : "the exchange " + message.exchange;
}

} // namespace

BrokerWorker::BrokerWorker(BrokerSettings settings, std::shared_ptr<Handover> handover)
    : m_settings(std::move(settings))
    , m_handover(std::move(handover))
{
}

BrokerWorker::~BrokerWorker() = default;

void BrokerWorker::run()
{
    while (!m_handover->isFlushed()) {
        try {
            connect();
            serve();
        } catch (const BrokerFailure &failure) {
            failed(failure.reason());
        }
        disconnect();
        pause();
    }
    m_handover->ended();
}

void BrokerWorker::connect()
{
    BrokerSettings settings = m_settings;
    if (m_handover->isStopping())
        settings.limits.connect = std::min(settings.limits.connect, m_handover->timeLeft());
    m_connection = std::make_unique<BrokerConnection>(settings);
    m_handover->connected(m_connection->descriptor());
    m_connection->logIn(settings, "kavo-host " + settings.workstation.toUtf8());
    declarePublished(m_connection.get(), m_settings);
    declareConsumed(m_connection.get(), m_settings);
    m_connection->confirmPublishing();
    const auto fault = m_connection->consume(queueName(m_settings), m_settings.limits.prefetch);
    if (fault)
        throw BrokerFailure(fault->text);
    m_handover->ready();
    m_settled.setRemainingTime(goodConnection);
    m_lastFailure.clear();
    m_isBlocked = false;
    m_careful = 0;
    m_refusing.clear();
    qCInfo(lcBroker).noquote() << "Connected to the broker" << m_settings.address.toString()
                               << "with the queue" << queueName(m_settings);
}

void BrokerWorker::disconnect()
{
    m_handover->disconnected();
    m_connection.reset();
}

void BrokerWorker::serve()
{
    while (!m_handover->isFlushed()) {
        const bool received = receiveSome();
        const bool sent = sendSome();
        acknowledge();
        m_connection->releaseBuffers();
        if (!received && !sent)
            sleep(m_handover->isInboxFull() ? -1 : m_connection->descriptor(), heartbeatCheck);
    }
    m_connection->close();
}

// The same reason again and again is told once.
void BrokerWorker::failed(const QString &reason)
{
    if (m_settled.hasExpired())
        m_failures = 0;
    m_settled.setRemainingTime(-1);
    ++m_failures;
    if (m_handover->isStopping() || reason == m_lastFailure)
        qCDebug(lcBroker).noquote() << "Again:" << reason;
    else
        qCWarning(lcBroker).noquote()
            << "No broker at" << m_settings.address.toString() << "-" << reason << "- trying again";
    m_lastFailure = reason;
}

// The end of the program ends a long pause: what waits has its last chances then, at short ones.
void BrokerWorker::pause()
{
    const double random = QRandomGenerator::global()->generateDouble();
    const bool isStopping = m_handover->isStopping();
    QDeadlineTimer over(reconnectDelay(isStopping ? 1 : m_failures, random));
    while (m_handover->isStopping() == isStopping && !m_handover->isFlushed() && !over.hasExpired())
        sleep(-1, milliseconds(over.remainingTime()));
}

// Until there is something to do, or the descriptor has something to read.
void BrokerWorker::sleep(int descriptor, milliseconds limit)
{
    if (!m_publishFrom.hasExpired())
        limit = std::min(limit, milliseconds(m_publishFrom.remainingTime() + 1));
    if (!m_handover->prepareToSleep())
        return;
    pollfd waited[] = {{m_handover->wakeDescriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}};
    ::poll(waited, 2, int(limit.count()));
    m_handover->awake();
}

bool BrokerWorker::receiveSome()
{
    int received = 0;
    for (; received < batch && !m_handover->isInboxFull(); ++received) {
        const BrokerEvent event = m_connection->receive();
        if (event.kind == BrokerEvent::None)
            break;
        handle(event);
    }
    return received > 0;
}

void BrokerWorker::handle(const BrokerEvent &event)
{
    switch (event.kind) {
    case BrokerEvent::Message:
        takeMessage(event);
        break;
    case BrokerEvent::Confirmed: {
        const int settled = m_handover->settle(event.tag, event.multiple);
        m_careful = std::max(0, m_careful - settled);
        m_isNotTaken = m_isNotTaken && m_careful > 0;
        break;
    }
    case BrokerEvent::NotTaken:
        notTaken();
        break;
    case BrokerEvent::ChannelClosed:
        channelClosed(event);
        break;
    case BrokerEvent::ConsumerCancelled:
        throw BrokerFailure(QStringLiteral("the queue %1 was deleted")
                                .arg(QString::fromUtf8(queueName(m_settings))));
    case BrokerEvent::Blocked:
        qCWarning(lcBroker).noquote() << "The broker takes no messages:" << event.reason;
        m_isBlocked = true;
        m_handover->setBlocked(true);
        break;
    case BrokerEvent::Unblocked:
        qCInfo(lcBroker) << "The broker takes messages again";
        m_isBlocked = false;
        m_handover->setBlocked(false);
        break;
    case BrokerEvent::None:
        break;
    }
}

void BrokerWorker::takeMessage(const BrokerEvent &event)
{
    QString fault;
    std::optional<QJsonObject> chunk;
    if (event.size > m_settings.limits.body)
        fault = QStringLiteral("%1 bytes, more than --max-body").arg(event.size);
    else
        chunk = chunkFromMessage(event.message, &fault);
    if (!chunk) {
        qCWarning(lcBroker).noquote()
            << "Rejected a message to the exchange" << event.message.exchange + ":" << fault;
        m_connection->reject(event.tag);
        m_handover->reject();
        return;
    }
    Delivery delivery;
    delivery.chunk = std::move(*chunk);
    if (!event.message.replyTo.isEmpty())
        delivery.reply = {event.message.replyTo, event.message.correlationId};
    delivery.tag = event.tag;
    delivery.size = event.size;
    m_handover->deliver(std::move(delivery));
}

bool BrokerWorker::sendSome()
{
    if (m_isBlocked || !m_publishFrom.hasExpired())
        return false;
    const int window = m_careful > 0 ? 1 : m_settings.limits.outbox.window;
    const auto refused = [this](const OutgoingMessage &message) { return isRefused(message); };
    int sent = 0;
    for (; sent < batch; ++sent) {
        const auto message = m_handover->nextToSend(window, refused);
        if (!message)
            break;
        m_connection->publish(*message);
    }
    return sent > 0;
}

void BrokerWorker::acknowledge()
{
    if (const auto tag = m_handover->takeAck())
        m_connection->acknowledge(*tag);
}

// Which message made the broker close the channel is not told: those that were on the way go again
// one by one, and the one that does it then is the one.
void BrokerWorker::channelClosed(const BrokerEvent &event)
{
    if (!event.isPublishing)
        throw BrokerFailure(event.fault.text);
    const bool isFound = m_careful > 0;
    const int again = m_handover->rewind();
    m_connection->reopenPublishing();
    if (!isFound) {
        m_careful = again;
        if (event.fault.code == noSuchThing)
            declarePublished(m_connection.get(), m_settings); // somebody may have deleted ours
    } else if (again > 0) {
        dropCulprit(event.fault);
    }
}

void BrokerWorker::dropCulprit(const ChannelFault &fault)
{
    OutgoingMessage culprit;
    if (!m_handover->dropFirst(&culprit))
        return;
    --m_careful;
    const bool isAboutExchange = fault.code == noPermission || fault.code == noSuchThing;
    if (isAboutExchange && !culprit.exchange.isEmpty() && m_refusing.size() < mostRefusing)
        m_refusing.insert(culprit.exchange, QDeadlineTimer(m_settings.limits.refused));
    qCWarning(lcBroker).noquote() << "Not published to" << destination(culprit) + ":" << fault.text;
}

bool BrokerWorker::isRefused(const OutgoingMessage &message)
{
    const auto refusing = m_refusing.find(message.exchange);
    if (refusing == m_refusing.end())
        return false;
    if (refusing->hasExpired()) {
        m_refusing.erase(refusing);
        return false;
    }
    m_careful = std::max(0, m_careful - 1);
    return true;
}

// A queue that is full and refuses more, most likely: the message is kept and tried again.
void BrokerWorker::notTaken()
{
    if (!m_isNotTaken)
        qCWarning(lcBroker) << "The broker does not take a message (a full queue?): trying again";
    m_isNotTaken = true;
    m_careful = std::max(m_careful, m_handover->rewind());
    m_connection->renewPublishing();
    m_publishFrom.setRemainingTime(m_settings.limits.nackPause);
}

} // namespace host
