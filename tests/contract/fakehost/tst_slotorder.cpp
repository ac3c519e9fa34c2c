// A host that was compiled against a header of its own: the interfaces are declared here once more,
// under the same class names and with other operation names. Virtual functions are called by their
// place in the table, so this works only while every operation stands in its slot.
#include "workstation.h"

#include <QtCore/QJsonObject>
#include <QtCore/QPluginLoader>
#include <QtTest/QtTest>
#include <http/server/request.h>
#include <http/server/response.h>
#include <memory>

class ChunkUpdateListener
{
public:
    virtual void slot0(const QJsonValue &chunk) = 0;

protected:
    ~ChunkUpdateListener() = default;
};

class ChunkPublisher
{
public:
    virtual void slot1(const QJsonValue &chunk) = 0;
    virtual void slot2(ChunkUpdateListener *listener) = 0;

protected:
    ~ChunkPublisher() = default;
};

namespace http {

class Controller
{
public:
    virtual ~Controller() = default; // slot 1
    virtual void slot2(std::shared_ptr<server::Request> request) = 0;
    virtual void slot3(std::shared_ptr<server::Response> response) = 0;
    virtual void slot4() = 0;
};

class ControllerStrategy
{
public:
    virtual ~ControllerStrategy() = default; // slot 1
    virtual Controller *slot2(std::shared_ptr<server::Request> request) = 0;
};

} // namespace http

class KavoServicePlugin
{
public:
    virtual ~KavoServicePlugin() = default; // slot 1
    virtual void slot2() = 0;
    virtual QList<http::ControllerStrategy *> slot3() = 0;
    virtual void slot4(ChunkPublisher *host) = 0;
    virtual void slot5() = 0;
    virtual quintptr slot6() = 0;
};

namespace {

class Host final : public ChunkPublisher
{
public:
    void slot1(const QJsonValue &chunk) override { published.append(chunk.toObject()); }
    void slot2(ChunkUpdateListener *subscriber) override { listener = subscriber; }

    QVector<QJsonObject> published;
    ChunkUpdateListener *listener = nullptr;
};

class PostContext final : public http::server::Request
{
public:
    HttpMethod method() const override { return Post; }
    const QUrl &url() const override { return m_url; }
    QString header(const QString & /*name*/) const override { return {}; }
    const QByteArray &body() const override { return m_body; }

private:
    const QUrl m_url{QStringLiteral("/context")};
    const QByteArray m_body{"{\"a\":1}"};
};

class Answer final : public http::server::Response
{
public:
    void setHeader(const QString & /*name*/, const QString & /*value*/) override {}
    void writeHead(int head) override { status = head; }
    void end(const QByteArray & /*body*/) override { ended = true; }

    int status = 0;
    bool ended = false;
};

} // namespace

class tst_SlotOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void pluginOperationsStandInTheirSlots();
    void hostAndListenerOperationsStandInTheirSlots();
    void strategyAndControllerOperationsStandInTheirSlots();

private:
    std::unique_ptr<QObject> m_object;
    KavoServicePlugin *m_plugin = nullptr;
    Host m_host;
};

void tst_SlotOrder::init()
{
    QPluginLoader loader(QString::fromLocal8Bit(qgetenv("KAVO_PLUGIN_FILE")));
    m_object.reset(loader.instance());
    QVERIFY2(m_object, qPrintable(loader.errorString()));
    m_plugin =
        static_cast<KavoServicePlugin *>(m_object->qt_metacast("ch.brenlo.kavo-service.plugin"));
    QVERIFY(m_plugin);
    m_host = Host();
}

void tst_SlotOrder::cleanup()
{
    m_object.reset();
}

void tst_SlotOrder::pluginOperationsStandInTheirSlots()
{
    QVERIFY(m_plugin->slot3().isEmpty());
    m_plugin->slot2();
    QCOMPARE(m_plugin->slot3().size(), 1);
    m_plugin->slot4(&m_host);
    QVERIFY(m_host.listener);
    m_plugin->slot5();
    QCOMPARE(m_plugin->slot6(), quintptr(0));
    bool isDestroyed = false;
    connect(m_object.release(), &QObject::destroyed, this, [&isDestroyed] { isDestroyed = true; });
    delete m_plugin; // slot 1
    QVERIFY(isDestroyed);
}

void tst_SlotOrder::hostAndListenerOperationsStandInTheirSlots()
{
    m_plugin->slot2();
    m_plugin->slot4(&m_host);
    m_host.listener->slot0(
        QJsonObject{{QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-delete")}});
    QCOMPARE(m_host.published.size(), 2);
    QCOMPARE(m_host.published.at(0).value(QLatin1String("exchange")),
             QJsonValue(QStringLiteral("context-removed")));
    m_plugin->slot5();
    m_host.listener->slot0(
        QJsonObject{{QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-delete")}});
    QCOMPARE(m_host.published.size(), 2);
}

void tst_SlotOrder::strategyAndControllerOperationsStandInTheirSlots()
{
    m_plugin->slot2();
    http::ControllerStrategy *strategy = m_plugin->slot3().at(0);
    const auto request = std::make_shared<PostContext>();
    const auto answer = std::make_shared<Answer>();
    const std::unique_ptr<http::Controller> controller(strategy->slot2(request));
    QVERIFY(controller);
    controller->slot2(request);
    QCOMPARE(request.use_count(), 2L);
    controller->slot3(answer);
    QCOMPARE(answer.use_count(), 2L);
    controller->slot4();
    QCOMPARE(answer->status, 200);
    QVERIFY(answer->ended);
}

FAKEHOST_MAIN(tst_SlotOrder)
#include "tst_slotorder.moc"
