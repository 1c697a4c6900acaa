#pragma once

#include <cstdint>

#include "platform/HostTime.hpp"

struct _snd_seq;
struct snd_seq_event;

namespace varnolex {

/// The sequencer's clock of one queue beside the host clock, so that events have the time at which they were delivered,
/// not that at which they were read. The sequencer's clock lags by the lateness of its last interrupt, some
/// microseconds, and may lose time altogether, so both are read together for every round of events. One thread.
class AlsaClock {
public:
    /// Starts a queue of the client's own. Without one (there are 32 in all) events have the time of their reading.
    explicit AlsaClock(_snd_seq* client);
    ~AlsaClock();
    AlsaClock(const AlsaClock&) = delete;
    AlsaClock& operator=(const AlsaClock&) = delete;

    /// The queue whose time ports are to stamp events with; negative for none.
    int queue() const { return number; }

    /// Before a round of events is read.
    void read();

    /// Never in the future, and never before that of the event that came before.
    HostTime stampOf(const snd_seq_event& event);

private:
    _snd_seq* const sequencer;
    int number = -1;
    /// When both clocks were read without being disturbed. 0 for never.
    HostTime pairingTime = 0;
    std::int64_t distance = 0;
    HostTime readingTime = 0;
    HostTime lastStamp = 0;
};

}  // namespace varnolex
