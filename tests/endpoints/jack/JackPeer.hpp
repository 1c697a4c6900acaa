#pragma once

#include <gtest/gtest.h>
#include <jack/jack.h>
#include <jack/midiport.h>

#include <deque>
#include <string>
#include <vector>

#include "endpoints/ServiceFixture.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// Another application: one port that plays what a test puts on it, and one that notes what it hears and when.
class JackPeer {
public:
    struct Heard {
        std::uint32_t frame = 0;
        Bytes bytes;
    };

    explicit JackPeer(const std::string& name) {
        client = jack_client_open(name.c_str(), JackNoStartServer, nullptr);
        if (!client) throw std::runtime_error("no JACK server for " + name);
        output = jack_port_register(client, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        input = jack_port_register(client, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client, &JackPeer::process, this);
        jack_activate(client);
    }
    ~JackPeer() { jack_client_close(client); }
    JackPeer(const JackPeer&) = delete;
    JackPeer& operator=(const JackPeer&) = delete;

    /// Plays the event in a cycle of its own, at this offset.
    void play(Bytes event, std::uint32_t offset = 0) {
        toPlay.with([&](auto& list) { list.push_back({offset, std::move(event)}); });
    }
    bool hasPlayedAll() {
        return toPlay.with([](auto& list) { return list.empty(); });
    }

    std::vector<Heard> heard() { return notes.get(); }
    /// When what is heard now was played, one for each.
    std::vector<std::uint32_t> played() { return playTimes.get(); }
    std::size_t heardCount() {
        return notes.with([](auto& list) { return list.size(); });
    }
    void forget() {
        notes.take();
        playTimes.take();
    }

    std::string outName() const { return jack_port_name(output); }
    std::string inName() const { return jack_port_name(input); }
    bool connect(const std::string& from, const std::string& to) {
        return jack_connect(client, from.c_str(), to.c_str()) == 0;
    }
    bool isHeardBySomebody() { return output && jack_port_connected(output) > 0; }
    bool knowsPort(const std::string& name) { return jack_port_by_name(client, name.c_str()) != nullptr; }
    /// The whole name of the first port that a regular expression finds; empty for none.
    std::string portLike(const std::string& pattern) const {
        const char** const names = jack_get_ports(client, pattern.c_str(), nullptr, 0);
        std::string found = names ? names[0] : "";
        jack_free(names);
        return found;
    }
    void renameOutput(const std::string& name) { jack_port_rename(client, output, name.c_str()); }
    void leaveOutput() { jack_port_unregister(client, std::exchange(output, nullptr)); }
    void returnOutput() { output = jack_port_register(client, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0); }

    jack_client_t* const& handle() const { return client; }

private:
    static int process(jack_nframes_t frames, void* argument) {
        auto* const self = static_cast<JackPeer*>(argument);
        const jack_nframes_t start = jack_last_frame_time(self->client);
        if (self->output)
            if (void* const buffer = jack_port_get_buffer(self->output, frames)) self->playNext(buffer, start);
        void* const buffer = jack_port_get_buffer(self->input, frames);
        for (std::uint32_t index = 0; index < jack_midi_get_event_count(buffer); ++index) {
            jack_midi_event_t event;
            jack_midi_event_get(&event, buffer, index);
            self->notes.with([&](auto& list) {
                list.push_back({start + event.time, Bytes(event.buffer, event.buffer + event.size)});
            });
        }
        return 0;
    }

    void playNext(void* buffer, jack_nframes_t start) {
        jack_midi_clear_buffer(buffer);
        toPlay.with([&](auto& list) {
            if (list.empty()) return;
            const auto& [offset, event] = list.front();
            jack_midi_event_write(buffer, offset, event.data(), event.size());
            playTimes.with([&, at = start + offset](auto& times) { times.push_back(at); });
            list.pop_front();
        });
    }

    jack_client_t* client = nullptr;
    jack_port_t* output = nullptr;
    jack_port_t* input = nullptr;
    Guarded<std::deque<std::pair<std::uint32_t, Bytes>>> toPlay;
    Guarded<std::vector<std::uint32_t>> playTimes;
    Guarded<std::vector<Heard>> notes;
};

}  // namespace varnolex
