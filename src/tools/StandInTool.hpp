#pragma once

#include <set>
#include <string>

#include "engine/PipeTool.hpp"

namespace varnolex {

/// Holds the place of a tool whose kind this build doesn't have: messages pass unchanged, any port may be cabled,
/// and the stored record is kept as it came, so that loading and saving a document loses nothing of it.
class StandInTool final : public PipeTool {
public:
    explicit StandInTool(PipeToolType type);

    void process(const ChainMessage& message, ToolChain& chain) override;
    std::optional<ValuePort> port(std::string_view portID) const override;

    /// The stored record, byte for byte; nothing when the document had none. Main thread.
    std::optional<std::string> storedRecord;

private:
    /// The ports that cables have been asked about: a port is a view, and has to have a text to view.
    mutable std::set<std::string, std::less<>> portNames;
};

}  // namespace varnolex
