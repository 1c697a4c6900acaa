#pragma once

#include <string>
#include <vector>

namespace varnolex {

/// What of a document couldn't be kept, in plain sentences.
struct DocumentFindings {
    /// Nodes of unknown kinds, cables without ends, tabs that can't be opened, ids that stood for two things.
    std::vector<std::string> dropped;
    /// Nodes whose record can't be decoded, so that they have the settings of a new tool.
    std::vector<std::string> undecodable;
    /// The lines for the log that belong to `undecodable`.
    std::vector<std::string> logLines;
};

}  // namespace varnolex
