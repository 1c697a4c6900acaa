#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/UUID.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

/// Ties a controller number to one parameter of one tool, or to the tool's bypass.
struct CCBinding {
    /// The port of a binding that switches the tool on and off.
    static constexpr std::string_view bypassPort = "isEnabled";

    /// 0 to 127.
    std::uint8_t ccNumber = 0;
    std::string portID;
    /// The values at controller value 0 and 127.
    double rangeLow = 0;
    double rangeHigh = 127;

    bool operator==(const CCBinding&) const = default;
};

/// A tool's bindings by port: at most one each.
using ToolBindings = std::map<std::string, CCBinding>;

/// The bindings of the process, by tool. Entries of tools that have gone are ignored, since nobody looks them up.
/// `bindings` and the setters may be called from any thread; `forEach` is for the processing road.
class CCBindingStore {
public:
    using Map = std::map<UUID, ToolBindings>;

    /// Posted after every change, without an object.
    static constexpr std::string_view storeDidChange = "CCBinding.storeDidChange";

    static CCBindingStore& shared();

    /// A snapshot of all bindings.
    Map bindings() const { return map.get(); }
    ToolBindings bindings(const UUID& toolID) const;

    /// Replaces all bindings.
    void setBindings(Map next);

    /// Replaces one tool's bindings; none removes its entry. Without one for the bypass, what was learned of the
    /// bypass's controller is forgotten.
    void setBindings(const UUID& toolID, ToolBindings next);

    /// Hands each binding of the tool on this controller to `use`. No lock, no allocation.
    template <class Use>
    void forEach(const UUID& toolID, std::uint8_t ccNumber, Use&& use) const {
        if (flat.isEmpty()) return;
        flat.read([&](const Flat* table) {
            if (!table) return;
            const auto less = [](const FlatEntry& entry, const UUID& id) { return entry.toolID < id; };
            for (auto entry = std::lower_bound(table->begin(), table->end(), toolID, less);
                 entry != table->end() && entry->toolID == toolID; ++entry)
                if (entry->binding.ccNumber == ccNumber) use(entry->binding);
        });
    }

private:
    struct FlatEntry {
        UUID toolID;
        CCBinding binding;
    };
    using Flat = std::vector<FlatEntry>;

    template <class Edit>
    void replace(Edit edit);

    Guarded<Map> map;
    Published<Flat> flat;
};

}  // namespace varnolex
