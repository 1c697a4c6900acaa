#include "bench/Figures.hpp"
#include "bench/Floors.hpp"
#include "bench/Music.hpp"
#include "core/MIDIMessageHistory.hpp"
#include "core/MessageParser.hpp"
#include "endpoints/MIDIGateway.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex::bench {
namespace {

/// Eight endpoints play lists of five messages each, eight lists between two drains: as fast as they may go without
/// being taken for a flood.
constexpr std::size_t sourceCount = 8;
constexpr std::size_t messagesInList = 5;
constexpr std::size_t listsOfDrain = 8;
constexpr std::size_t messagesOfDrain = sourceCount * messagesInList * listsOfDrain;

/// What shows in a tab.
struct Tab {
    MIDIMessageFilter filter;
    MIDIMessageHistory history;
};

/// The road from the buffers to four tabs: one shows everything, one no controllers, one two channels, one half an MPE
/// keyboard.
class Road {
public:
    Road() {
        for (MIDIEndpointRef source = 1; source <= sourceCount; ++source) rings.push_back(buffers.buffer(source));
        tabs[1].filter.setFilterMask(MessageTypeMask::all - MessageTypeMask::cc);
        tabs[2].filter.setChannelMask(0x0005);
        tabs[3].filter.setMPEZoneFilter(MPEZoneFilter::second);
        gateway.subscribeToSources("tabs", [this](const MessageList& messages) {
            const RPNDetector::Zone lower{MPEZoneType::lower, 1};
            for (Tab& tab : tabs) tab.history.add(tab.filter.filtered(messages, lower, std::nullopt));
        });
    }

    void append(std::size_t source, MessageList& messages) const { rings[source]->append(messages); }

    void drain() {
        buffers.drainAll(drained);
        gateway.dispatchSourceMessages(drained);
        drained.clear();
    }

private:
    PerSourceBufferRegistry buffers;
    std::vector<PerSourceBufferRegistry::Buffer> rings;
    MIDIGateway gateway;
    std::array<Tab, 4> tabs;
    MessageList drained;
};

}  // namespace

void measureMonitoring(const Effort& effort, Figures& figures) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    const SecondThread secondThread;
    std::vector<SharedName> names;
    for (std::size_t source = 0; source < sourceCount; ++source)
        names.emplace_back("Endpoint " + std::to_string(source + 1));
    std::vector<std::uint8_t> list;
    for (const ThreeBytes& message : playedMessages(messagesInList))
        list.insert(list.end(), message.begin(), message.end());

    const std::size_t drains = effort.messages / messagesOfDrain;
    MessageParser parser;
    MessageList messages;
    const auto play = [&](auto&& handOn, auto&& drain) {
        for (std::size_t index = 0; index < drains; ++index) {
            for (std::size_t part = 0; part < listsOfDrain * sourceCount; ++part) {
                parser.parse(list.data(), list.size(), index + 1, messages);
                for (const MessageRef& message : messages) message->originatingEndpointName = names[part % sourceCount];
                handOn(part % sourceCount);
            }
            drain();
            runtime.runFor(PortInputStream::drainInterval);
        }
    };
    Road road;
    const auto parsed = [&] { play([](std::size_t) {}, [&] { messages.clear(); }); };
    const auto shown = [&] { play([&](std::size_t source) { road.append(source, messages); }, [&] { road.drain(); }); };
    const Medians medians = differenceOf(effort.passes, parsed, shown, [&] { lockPairs(effort.messages); });
    const double scale = 1e9 / static_cast<double>(drains * messagesOfDrain);
    figures.push_back({"monitoring: buffers to four tabs' histories", medians.subject * scale, "ns/msg",
                       "recursive_mutex pair, ns", medians.floor * 1e9 / static_cast<double>(effort.messages),
                       Figure::Limit::ratio, 3.33, "four tabs watch every cable and the display stays smooth"});
}

}  // namespace varnolex::bench
