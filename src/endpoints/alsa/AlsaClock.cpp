#include "endpoints/alsa/AlsaClock.hpp"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <array>

#include "endpoints/alsa/AlsaRecord.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

/// The queue's own steps; the time between them is told exactly however long they are.
constexpr unsigned stepsPerSecond = 20;
/// A reading of both clocks that took longer than this is disturbed, and used only when the last good one is old.
constexpr HostTime undisturbed = 50'000;
constexpr HostTime old = 100'000'000;

HostTime ticksOf(const snd_seq_real_time_t& time) { return HostTime{time.tv_sec} * ticksPerSecond + time.tv_nsec; }

}  // namespace

AlsaClock::AlsaClock(_snd_seq* client) : sequencer(client), number(snd_seq_alloc_named_queue(client, "Varnolex")) {
    if (number < 0) return;
    const auto timer = makeAlsaRecord(snd_seq_queue_timer_malloc, snd_seq_queue_timer_free);
    if (snd_seq_get_queue_timer(sequencer, number, timer.get()) >= 0) {
        snd_seq_queue_timer_set_resolution(timer.get(), stepsPerSecond);
        snd_seq_set_queue_timer(sequencer, number, timer.get());
    }
    snd_seq_start_queue(sequencer, number, nullptr);
    snd_seq_drain_output(sequencer);
}

AlsaClock::~AlsaClock() {
    if (number >= 0) snd_seq_free_queue(sequencer, number);
}

void AlsaClock::read() {
    const HostTime before = Runtime::current().hostTime();
    readingTime = before;
    alignas(std::max_align_t) std::array<std::byte, 256> memory{};
    auto* const status = reinterpret_cast<snd_seq_queue_status_t*>(memory.data());
    if (number < 0 || snd_seq_queue_status_sizeof() > memory.size()) return;
    if (snd_seq_get_queue_status(sequencer, number, status) < 0) return;
    readingTime = Runtime::current().hostTime();
    if (readingTime - before > undisturbed && pairingTime != 0 && readingTime - pairingTime < old) return;
    const HostTime middle = before + (readingTime - before) / 2;
    distance = static_cast<std::int64_t>(middle - ticksOf(*snd_seq_queue_status_get_real_time(status)));
    pairingTime = readingTime;
}

HostTime AlsaClock::stampOf(const snd_seq_event& event) {
    HostTime stamp = readingTime;
    if (pairingTime != 0 && event.queue == number && snd_seq_ev_is_real(&event))
        stamp = std::min(stamp, ticksOf(event.time.time) + static_cast<HostTime>(distance));
    lastStamp = std::max(lastStamp, stamp);
    return lastStamp;
}

}  // namespace varnolex
