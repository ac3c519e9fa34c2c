#include "http/controllerslot.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtTest/QTest>

using namespace host;

namespace {

/// Counts those that are alive.
class PlainController : public http::Controller
{
public:
    PlainController() { ++alive; }
    ~PlainController() override { --alive; }
    void handle() override {}

    static int alive;
};

int PlainController::alive = 0;

class ObjectController final : public QObject, public PlainController
{
};

void deleteDeferred()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

/// Who ends a controller, and that nobody does so twice.
class TestControllerSlot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        deleteDeferred();
        QCOMPARE(PlainController::alive, 0);
    }

    void emptySlotReleasesNothing()
    {
        ControllerSlot slot;
        QVERIFY(!slot.get());
        QVERIFY(!slot.release());
    }

    void plainControllerIsHandedOver()
    {
        auto *controller = new PlainController;
        ControllerSlot slot(controller);
        QCOMPARE(slot.get(), static_cast<http::Controller *>(controller));
        const std::unique_ptr<http::Controller> released = slot.release();
        QCOMPARE(released.get(), static_cast<http::Controller *>(controller));
        QVERIFY(!slot.get());
        QVERIFY(!slot.release());
        QCOMPARE(PlainController::alive, 1);
    }

    void plainControllerEndsWithItsSlot()
    {
        {
            const ControllerSlot slot(new PlainController);
        }
        QCOMPARE(PlainController::alive, 0);
    }

    void objectIsDeletedLater()
    {
        ControllerSlot slot(new ObjectController);
        QVERIFY(!slot.release());
        QVERIFY(!slot.get());
        QCOMPARE(PlainController::alive, 1);
        deleteDeferred();
        QCOMPARE(PlainController::alive, 0);
    }

    void objectThatHasScheduledItsEndIsDeletedOnce()
    {
        auto *controller = new ObjectController;
        ControllerSlot slot(controller);
        controller->deleteLater();
        QVERIFY(!slot.release());
        deleteDeferred();
        QCOMPARE(PlainController::alive, 0);
    }

    void objectThatIsGoneIsLeftAlone()
    {
        auto *controller = new ObjectController;
        ControllerSlot slot(controller);
        controller->deleteLater();
        deleteDeferred();
        QCOMPARE(PlainController::alive, 0);
        QVERIFY(!slot.release());
    }

    void movedSlotIsTheOnlyOneThatHolds()
    {
        ControllerSlot first(new PlainController);
        ControllerSlot second(std::move(first));
        ControllerSlot third(new ObjectController);
        second = std::move(third);
        QCOMPARE(PlainController::alive, 2);
        QVERIFY(second.get());
        QVERIFY(!second.release());
        deleteDeferred();
        QCOMPARE(PlainController::alive, 1); // the plain one, which the other slot got in exchange
    }
};

QTEST_GUILESS_MAIN(TestControllerSlot)
#include "tst_controllerslot.moc"
