// The time shown in a trace line. Private to the folder.
#pragma once

#include "k7pi_baselib/platform.h"

// Counts with the monotonic clock from the local time of the first line, so that lines stay in order when the
// machine's clock is set. It is tied to local time anew at midnight and when the counter runs back.
class TraceClock {
  public:
    // `counter` in seconds; `now` gives the local time when it is needed.
    LocalTime at(double counter, LocalTime (*now)()) {
        constexpr double day = 86400;
        if (!m_tied || counter < m_last || m_base.seconds + (counter - m_start) >= day) {
            m_base = now();
            m_start = counter;
            m_tied = true;
        }
        m_last = counter;
        LocalTime time = m_base;
        time.seconds += counter - m_start;
        if (time.seconds >= day) time.seconds -= day;  // a leap second
        return time;
    }

  private:
    bool m_tied = false;
    double m_start = 0, m_last = 0;
    LocalTime m_base{};
};
