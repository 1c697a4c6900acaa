#include "core/midifile/MIDIFile.hpp"

#include <algorithm>
#include <limits>

namespace varnolex {

void MIDIFile::append(MIDIFileTrack& track, std::uint64_t tick, std::span<const std::uint8_t> message) {
    constexpr std::size_t mostBytes = std::numeric_limits<std::uint32_t>::max();
    if (message.size() > mostBytes - arena.size()) throw MIDIFileError("the messages take more than 4 GiB");
    track.events.push_back(
        {tick, static_cast<std::uint32_t>(arena.size()), static_cast<std::uint32_t>(message.size())});
    arena.insert(arena.end(), message.begin(), message.end());
    track.endTick = std::max(track.endTick, tick);
}

std::uint64_t MIDIFile::endTick() const {
    std::uint64_t end = 0;
    for (const MIDIFileTrack& track : tracks) end = std::max(end, track.endTick);
    return end;
}

MIDIFileMerge::MIDIFileMerge(const MIDIFile& midiFile) : file(midiFile), map(midiFile.tempoMap()), cursor(map) {
    for (std::size_t index = 0; index < file.tracks.size(); ++index) {
        const auto& events = file.tracks[index].events;
        if (events.empty()) continue;
        lanes.push_back({events.front().tick, index, events.data(), events.data() + events.size()});
    }
    for (std::size_t place = lanes.size() / 2; place-- > 0;) sink(place);
}

bool MIDIFileMerge::next(MergedEvent& event) {
    if (lanes.empty()) return false;
    Lane& lane = lanes.front();
    event = {lane.tick, cursor.nanoseconds(lane.tick), lane.track, file.bytes(*lane.event)};
    if (++lane.event != lane.end) {
        lane.tick = lane.event->tick;
    } else {
        lane = lanes.back();
        lanes.pop_back();
    }
    sink(0);
    return true;
}

void MIDIFileMerge::sink(std::size_t place) {
    if (place >= lanes.size()) return;
    const Lane sinking = lanes[place];
    for (;;) {
        std::size_t child = place * 2 + 1;
        if (child >= lanes.size()) break;
        if (child + 1 < lanes.size() && lanes[child].isBehind(lanes[child + 1])) ++child;
        if (!sinking.isBehind(lanes[child])) break;
        lanes[place] = lanes[child];
        place = child;
    }
    lanes[place] = sinking;
}

}  // namespace varnolex
