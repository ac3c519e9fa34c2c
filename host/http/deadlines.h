#pragma once

#include <QtCore/QtGlobal>

#include <boost/intrusive/list.hpp>

namespace host {

/// Something that can run out of time. Leaves its list by itself when it is destroyed.
struct Timed
    : boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>>
{
    qint64 due = 0; ///< ms of the server's steady clock
    void stopTiming() { unlink(); }
};

/// Everything that waits for the same length of time, the first to run out first. Entering and
/// leaving cost the same whatever the number of connections.
class DeadlineList
{
public:
    explicit DeadlineList(int period)
        : m_period(period)
    {
    }

    void restart(Timed &timed, qint64 now)
    {
        timed.stopTiming();
        timed.due = now + m_period;
        m_list.push_back(timed);
    }

    /// Takes out and returns one that has run out by `now`, or null.
    Timed *takeExpired(qint64 now)
    {
        if (m_list.empty() || m_list.front().due > now)
            return nullptr;
        Timed &expired = m_list.front();
        expired.stopTiming();
        return &expired;
    }

private:
    using List = boost::intrusive::list<Timed, boost::intrusive::constant_time_size<false>>;

    int m_period;
    List m_list;
};

} // namespace host
