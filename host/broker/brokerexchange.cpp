#include "broker/brokerexchange.h"

#include "broker/brokerlog.h"
#include "broker/brokerworker.h"
#include "broker/handover.h"
#include "exchange/chunkhub.h"

#include <QtCore/QElapsedTimer>

namespace host {
namespace {

constexpr int turn = 5; // ms of deliveries before sockets and timers have theirs
constexpr std::chrono::milliseconds grace(500); // for the thread to end once its time is up

} // namespace

BrokerExchange::BrokerExchange(BrokerSettings settings, ChunkHub *hub)
    : m_settings(std::move(settings))
    , m_routing{m_settings.workstation, m_settings.eventExchange}
    , m_hub(hub)
    , m_handover(std::make_shared<Handover>(m_settings.limits))
{
    m_again.setSingleShot(true);
    m_again.setInterval(0);
    QObject::connect(&m_again, &QTimer::timeout, &m_again, [this] { deliverSome(); });
}

BrokerExchange::~BrokerExchange()
{
    finish();
}

void BrokerExchange::start()
{
    m_handover->setLoop([this] {
        QMetaObject::invokeMethod(
            &m_again, [this] { deliverSome(); }, Qt::QueuedConnection);
    });
    m_thread = std::thread(
        [settings = m_settings, handover = m_handover] { BrokerWorker(settings, handover).run(); });
}

void BrokerExchange::published(const QJsonObject &chunk)
{
    if (const auto reply = m_pending.take(chunk)) {
        push(replyFromChunk(chunk, *reply));
        return;
    }
    QString fault;
    if (auto message = messageFromChunk(chunk, m_routing, &fault))
        push(std::move(*message));
    else
        qCDebug(lcBroker).noquote() << "Not for the broker:" << fault;
}

void BrokerExchange::push(OutgoingMessage message)
{
    const int dropped = m_handover->push(std::move(message));
    if (dropped > 0 && m_dropped == 0)
        qCWarning(lcBroker) << "Too much waits for the broker: the oldest chunks are dropped";
    m_dropped += dropped;
    if (m_dropped > 0 && !m_handover->isCrowded())
        endDrops();
}

// Tells how many a run of drops cost. It is over once there is room again; a single chunk that
// found some between two that did not is no end.
void BrokerExchange::endDrops()
{
    if (m_dropped > 0)
        qCWarning(lcBroker) << "Chunks dropped:" << m_dropped;
    m_dropped = 0;
}

void BrokerExchange::deliverSome()
{
    QElapsedTimer clock;
    clock.start();
    Delivery delivery;
    while (m_isDelivering && m_handover->take(&delivery)) {
        deliver(delivery);
        if (clock.elapsed() >= turn) {
            m_again.start();
            return;
        }
    }
}

void BrokerExchange::deliver(const Delivery &delivery)
{
    if (!delivery.reply.queue.isNull())
        m_pending.expect(delivery.chunk, delivery.reply);
    try {
        m_hub->deliver(delivery.chunk);
    } catch (const std::exception &exception) {
        qCWarning(lcBroker) << "The module failed on a chunk from the broker:" << exception.what();
    }
    m_handover->handled(delivery);
}

void BrokerExchange::stopDelivering()
{
    m_isDelivering = false;
    m_handover->stopDelivering();
}

void BrokerExchange::finish()
{
    if (!m_thread.joinable())
        return;
    stopDelivering();
    m_handover->setLoop(nullptr);
    m_handover->stop();
    const BrokerCounts now = m_handover->counts();
    const bool hasNothingToDo = !now.connected && now.waiting == 0;
    bool hasEnded =
        m_handover->waitForEnd(hasNothingToDo ? grace : m_settings.limits.flush + grace);
    if (!hasEnded) {
        m_handover->breakConnection();
        hasEnded = m_handover->waitForEnd(grace);
    }
    if (hasEnded)
        m_thread.join();
    else
        m_thread.detach(); // it hangs in the system's resolver, and holds nothing of ours
    endDrops();
    const int lost = m_handover->counts().waiting;
    if (lost > 0)
        qCWarning(lcBroker) << "Chunks that the broker did not confirm before the end:" << lost;
}

BrokerCounts BrokerExchange::counts() const
{
    return m_handover->counts();
}

std::unique_ptr<BrokerLink> makeBrokerLink(const BrokerSettings &settings, ChunkHub *hub, QString *)
{
    return std::make_unique<BrokerExchange>(settings, hub);
}

} // namespace host
