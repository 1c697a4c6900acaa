#include "cli/live/ListCommand.hpp"

#include <nlohmann/json.hpp>

#include "cli/Streams.hpp"
#include "cli/live/LiveSession.hpp"

namespace varnolex {
namespace {

using Json = nlohmann::ordered_json;

template <class Info>
void appendText(std::string& text, const char* heading, const std::vector<Info>& endpoints) {
    constexpr std::size_t idWidth = 12;
    text += heading;
    text += endpoints.empty() ? ": none\n" : ":\n";
    for (const Info& endpoint : endpoints) {
        const std::string id = std::to_string(endpoint.uniqueID);
        text.append(id.size() < idWidth ? idWidth - id.size() : 1, ' ');
        text += id + "  " + endpoint.displayName;
        for (const std::string& detail : {endpoint.manufacturer, endpoint.model})
            if (!detail.empty()) text += ", " + detail;
        text += '\n';
    }
}

template <class Info>
void appendJSON(Json& array, const char* direction, const std::vector<Info>& endpoints) {
    for (const Info& endpoint : endpoints)
        array.push_back({{"direction", direction},
                         {"uniqueID", endpoint.uniqueID},
                         {"name", endpoint.displayName},
                         {"manufacturer", endpoint.manufacturer},
                         {"model", endpoint.model},
                         {"driverOwner", endpoint.driverOwner}});
}

}  // namespace

void runList(MIDIServiceKind service, bool json) {
    LiveSession session(service);
    const MIDIManager& endpoints = session.endpoints();
    if (json) {
        Json array = Json::array();
        appendJSON(array, "source", endpoints.sources());
        appendJSON(array, "destination", endpoints.destinations());
        // A name that isn't UTF-8 is another program's: better shown with marks than refused.
        return writeOutput("-", array.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
    }
    std::string text = "MIDI service: " + std::string(session.backendName()) + "\n";
    appendText(text, "Sources", endpoints.sources());
    appendText(text, "Destinations", endpoints.destinations());
    writeOutput("-", text);
}

}  // namespace varnolex
