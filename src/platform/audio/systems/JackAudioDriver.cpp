#include "platform/audio/systems/JackAudioDriver.hpp"

#include <jack/jack.h>

#include <algorithm>
#include <array>

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {
namespace {

void saySilently(const char*) {}

using PortNames = std::unique_ptr<const char*, decltype([](const char** names) { jack_free(names); })>;

/// Takes periods of any length: some servers change it at will, and tell a client that isn't running yet another one
/// than it will get.
class JackAudioDriver final : public AudioDriver {
public:
    JackAudioDriver();

    std::vector<AudioOutputDevice> devices() override;
    bool open(const std::optional<std::string>& deviceUID, AudioFeed& feed) override;
    void close() override { player.reset(); }
    bool isOpen() override { return player && !hasEnded.get(); }

private:
    struct ClientEnd {
        void operator()(jack_client_t* client) const { jack_client_close(client); }
    };
    using Client = std::unique_ptr<jack_client_t, ClientEnd>;

    struct Device {
        AudioOutputDevice shown;
        std::vector<std::string> ports;
    };

    static Client connected(const char* name);
    static std::vector<Device> devicesOf(jack_client_t* client);
    bool start(const Device& device);
    static int play(jack_nframes_t count, void* self);
    void play(jack_nframes_t count);

    AudioFeed* heard = nullptr;
    std::array<jack_port_t*, 2> outputs{};
    double sampleRate = 0;
    SharedValue<bool> hasEnded{false};
    Client player;
};

/// Without a server the library complains on standard error.
JackAudioDriver::JackAudioDriver() {
    jack_set_error_function(saySilently);
    jack_set_info_function(saySilently);
}

JackAudioDriver::Client JackAudioDriver::connected(const char* name) {
    return Client(jack_client_open(name, JackNoStartServer, nullptr));
}

/// In the server's order, in which what it thinks the default comes first. What sounds by itself is preferred to
/// programs.
std::vector<JackAudioDriver::Device> JackAudioDriver::devicesOf(jack_client_t* client) {
    std::vector<Device> found;
    const PortNames names(jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput));
    for (const char** name = names.get(); name && *name; ++name) {
        const std::string port = *name;
        const std::string device = port.substr(0, port.find(':'));
        auto known = std::ranges::find(found, device, [](const Device& each) { return each.shown.name; });
        if (known == found.end()) known = found.insert(known, Device{{"jack:" + device, device, false}, {}});
        known->ports.push_back(port);
    }
    const auto isPhysical = [&](const Device& each) {
        const jack_port_t* const port = jack_port_by_name(client, each.ports.front().c_str());
        return port && (jack_port_flags(port) & JackPortIsPhysical) != 0;
    };
    auto preferred = std::ranges::find_if(found, isPhysical);
    if (preferred == found.end()) preferred = found.begin();
    if (preferred != found.end()) preferred->shown.isDefault = true;
    return found;
}

std::vector<AudioOutputDevice> JackAudioDriver::devices() {
    const Client client = connected("Varnolex devices");
    std::vector<AudioOutputDevice> shown;
    if (client)
        for (const Device& each : devicesOf(client.get())) shown.push_back(each.shown);
    return shown;
}

bool JackAudioDriver::open(const std::optional<std::string>& deviceUID, AudioFeed& feed) {
    player = connected("Varnolex");
    if (!player) return false;
    heard = &feed;
    const auto found = devicesOf(player.get());
    const auto wanted = std::ranges::find_if(
        found, [&](const Device& each) { return deviceUID ? each.shown.uid == *deviceUID : each.shown.isDefault; });
    if (wanted == found.end() || !start(*wanted)) player.reset();
    return player != nullptr;
}

bool JackAudioDriver::start(const Device& device) {
    jack_client_t* const client = player.get();
    hasEnded.set(false);
    outputs = {};
    const std::size_t count = std::min(device.ports.size(), outputs.size());
    for (std::size_t index = 0; index < count; ++index) {
        const std::string name = "outport " + std::to_string(index);
        outputs[index] = jack_port_register(client, name.c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
        if (!outputs[index]) return false;
    }
    sampleRate = jack_get_sample_rate(client);
    heard->prepare(sampleRate);
    jack_set_process_callback(client, &JackAudioDriver::play, this);
    jack_on_shutdown(
        client, [](void* self) { static_cast<JackAudioDriver*>(self)->hasEnded.set(true); }, this);
    jack_set_sample_rate_callback(
        client,
        [](jack_nframes_t rate, void* self) {
            auto& driver = *static_cast<JackAudioDriver*>(self);
            if (rate != driver.sampleRate) driver.hasEnded.set(true);
            return 0;
        },
        this);
    if (jack_activate(client) != 0) return false;
    for (std::size_t index = 0; index < count; ++index)
        jack_connect(client, jack_port_name(outputs[index]), device.ports[index].c_str());
    return true;
}

int JackAudioDriver::play(jack_nframes_t count, void* self) {
    static_cast<JackAudioDriver*>(self)->play(count);
    return 0;
}

void JackAudioDriver::play(jack_nframes_t count) {
    jack_nframes_t first = 0;
    jack_time_t begin = 0;
    jack_time_t next = 0;
    float length = 0;
    std::optional<Nanoseconds> age;
    if (jack_get_cycle_times(player.get(), &first, &begin, &next, &length) == 0 && next > begin)
        age = std::chrono::microseconds(static_cast<std::int64_t>(jack_get_time() - begin));
    float* const frames = static_cast<float*>(jack_port_get_buffer(outputs[0], count));
    heard->fill(std::span(frames, count), age);
    if (outputs[1]) std::copy_n(frames, count, static_cast<float*>(jack_port_get_buffer(outputs[1], count)));
}

}  // namespace

std::unique_ptr<AudioDriver> makeJackAudioDriver() { return std::make_unique<JackAudioDriver>(); }

}  // namespace varnolex
