#pragma once

#include <map>
#include <memory>
#include <optional>

#include "core/MessageParser.hpp"
#include "endpoints/MIDIService.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

/// The parser of each endpoint that is listened to, and the name that its messages carry. A parser is used by the read
/// block alone; the name may be changed beside it, so it is kept here, and the read block gives it to the parser.
/// Any thread.
class ParserRegistry {
public:
    struct Entry {
        /// Null when the endpoint isn't listened to.
        std::shared_ptr<MessageParser> parser;
        SharedName name;
    };

    Entry find(MIDIEndpointRef reference) const;
    std::shared_ptr<MessageParser> parser(MIDIEndpointRef reference) const { return find(reference).parser; }
    /// Absent when there is no parser.
    SharedName name(MIDIEndpointRef reference) const { return find(reference).name; }

    /// A fresh parser under this name, in place of the one before.
    void insert(MIDIEndpointRef reference, SharedName name);
    void remove(MIDIEndpointRef reference);

    /// Nothing when there is no parser.
    void setName(MIDIEndpointRef reference, SharedName name);

private:
    using Entries = std::map<MIDIEndpointRef, Entry>;

    Guarded<Entries> entries;
};

}  // namespace varnolex
