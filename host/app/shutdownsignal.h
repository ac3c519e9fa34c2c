#pragma once

#include <functional>
#include <memory>

namespace host {

/// The system's wish that the program ends: SIGINT and SIGTERM, or Ctrl+C and the console's close
/// on Windows. `onRequest` is called once, from the event loop; a second wish ends the process at
/// once. main() owns the one there is, and keeps it to the very end: a console that closes waits
/// for that.
class ShutdownSignal
{
public:
    explicit ShutdownSignal(std::function<void()> onRequest);
    ~ShutdownSignal();
    ShutdownSignal(const ShutdownSignal &) = delete;
    ShutdownSignal &operator=(const ShutdownSignal &) = delete;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace host
