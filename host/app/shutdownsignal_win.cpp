#include "app/shutdownsignal.h"

#include <QtCore/QMetaObject>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QWaitCondition>

#include <windows.h>

namespace host {
namespace {

/// What the console's thread and the event loop's share; never destroyed, since the console may
/// call at any moment of the process.
struct Shared
{
    QMutex mutex;
    QWaitCondition ended;
    QObject *loopObject = nullptr; ///< null: nobody to tell (any more)
    std::function<void()> onRequest;
    bool wished = false;
};

Shared &shared()
{
    static auto *state = new Shared;
    return *state;
}

// Called on a thread of the console's own. The system ends the process when this returns from a
// close, so it waits until the event loop's side is finished.
BOOL WINAPI onConsoleEvent(DWORD event)
{
    Shared &state = shared();
    const QMutexLocker lock(&state.mutex);
    if (!state.loopObject || state.wished)
        return FALSE; // a second wish: the system's own handler ends the process
    state.wished = true;
    QMetaObject::invokeMethod(state.loopObject, state.onRequest, Qt::QueuedConnection);
    const bool mustWait = event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT;
    while (mustWait && state.loopObject)
        state.ended.wait(&state.mutex);
    return TRUE;
}

} // namespace

class ShutdownSignal::Private
{
public:
    explicit Private(std::function<void()> onRequest)
    {
        Shared &state = shared();
        const QMutexLocker lock(&state.mutex);
        state.loopObject = &m_loopObject;
        state.onRequest = std::move(onRequest);
        state.wished = false;
        SetConsoleCtrlHandler(onConsoleEvent, TRUE);
    }

    ~Private()
    {
        // The handler stays in place: taking it out could wait for a call of it that waits for us.
        Shared &state = shared();
        const QMutexLocker lock(&state.mutex);
        state.loopObject = nullptr;
        state.ended.wakeAll();
    }

    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

private:
    QObject m_loopObject;
};

ShutdownSignal::ShutdownSignal(std::function<void()> onRequest)
    : d(std::make_unique<Private>(std::move(onRequest)))
{
}

ShutdownSignal::~ShutdownSignal() = default;

} // namespace host
