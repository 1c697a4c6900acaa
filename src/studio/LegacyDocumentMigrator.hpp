#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace varnolex {

class DefaultsStore;

/// Brings stored data from the words of earlier versions, in which Studio tabs were "Routing", Activity tabs were
/// "Monitor" and graphs were "graphs" or "flows", to those of today.
class LegacyDocumentMigrator {
public:
    /// The bytes of a document in today's words. Whatever isn't a JSON object comes back as it is, for the decoder to
    /// report, and so does a document that is current already. Any thread.
    static std::string migrate(std::string_view data);

    /// The same for a value of at most `deepestJSON` levels. True when something was renamed.
    static bool migrate(nlohmann::json& value);

    /// Logs the sizes of a document that was renamed, if they differ.
    static void report(std::size_t bytesBefore, std::size_t bytesAfter);

    /// Renames what the user's defaults hold. To run at start-up, before the first of them is read.
    static void migrateUserDefaults(DefaultsStore& defaults);
};

}  // namespace varnolex
