#include "cli/live/RecordCommand.hpp"

#include <algorithm>
#include <limits>
#include <map>

#include "cli/CommandFailure.hpp"
#include "cli/MusicOutput.hpp"
#include "cli/Streams.hpp"
#include "cli/live/EndpointChoice.hpp"
#include "cli/live/LiveSession.hpp"
#include "core/message/MessageBytes.hpp"
#include "endpoints/input/PortInputStream.hpp"

namespace varnolex {
namespace {

class Recorder {
public:
    Recorder(LiveSession& liveSession, const RecordOptions& options)
        : session(liveSession), start(Runtime::current().hostTime()), stream(session.endpoints().clientRef()) {
        const auto& sources = session.endpoints().sources();
        for (const std::string& word : options.endpoints) chosen.push_back(chooseSource(sources, word).uniqueID);
        stream.messageHandler = [this](const MessageList& messages) { keep(messages); };
        stream.start();
        if (stream.inputPortRef() == 0) throw CommandFailure("the MIDI service makes no input port");
        session.endpoints().onEndpointsChanged = [this] { connect(); };
        connect();
    }

    ~Recorder() { session.endpoints().onEndpointsChanged = nullptr; }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// The recording ends now; what has come in since the last drain arrives with the next one.
    MusicOutput& finish() {
        end = Runtime::current().hostTime();
        session.run(2 * PortInputStream::drainInterval);
        music.putInOrder();
        return music;
    }

private:
    void connect() {
        const auto& sources = session.endpoints().sources();
        for (const MIDISourceInfo& source : sources)
            if (chosen.empty() || std::ranges::find(chosen, source.uniqueID) != chosen.end()) stream.connect(source);
        stream.updateNames(sources);
    }

    void keep(const MessageList& messages) {
        for (const MessageRef& message : messages) {
            bytes.clear();
            appendMessageBytes(bytes, *message);
            // What was played before the first moment may be on its way still.
            if (!bytes.empty() && message->timeStamp >= start && message->timeStamp <= end)
                music.add(message->timeStamp - start, bytes, trackOf(message->originatingEndpointName));
        }
    }

    std::uint32_t trackOf(SharedName name) {
        const auto [place, isNew] = tracks.try_emplace(std::string(name.view()), 0);
        if (isNew) place->second = music.addEndpoint(place->first);
        return place->second;
    }

    LiveSession& session;
    const HostTime start;
    HostTime end = std::numeric_limits<HostTime>::max();
    PortInputStream stream;
    /// Unique IDs of sources; none for all.
    std::vector<std::int32_t> chosen;
    MusicOutput music;
    std::map<std::string, std::uint32_t> tracks;
    std::vector<std::uint8_t> bytes;
};

}  // namespace

void runRecord(const RecordOptions& options) {
    if (options.json && isMIDIFileName(options.output))
        throw UsageError("--json writes text: it doesn't go with the MIDI file " + options.output);
    requireWritable(options.output);
    LiveSession session(options.service);
    session.tellIfAlone();
    Recorder recorder(session, options);
    session.run(durationOf(options.seconds));
    writeMusic(recorder.finish(), options.output, nullptr, options.json);
}

}  // namespace varnolex
