#pragma once

namespace host {

/// Wakes a thread that waits in poll(). Any thread may call `wake`; one waits on `descriptor` to
/// become readable and then calls `clear`.
class WakePipe
{
public:
    WakePipe();
    ~WakePipe();
    WakePipe(const WakePipe &) = delete;
    WakePipe &operator=(const WakePipe &) = delete;

    int descriptor() const { return m_ends[0]; }
    void wake();
    void clear();

private:
    int m_ends[2] = {-1, -1};
};

} // namespace host
