#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace varnolex {

/// Unique IDs of other applications' endpoints, by what identifies an endpoint in its system: a name that is the same
/// in the next run. Nearly every name has the ID that `uniqueIDForName` makes of it, and nothing is stored. A name
/// whose ID is another one's gets the next free one, and one that has changed keeps the ID of its former name: these
/// are kept in a file, so that the same name gets the same ID next time. Several programs may keep them in one file:
/// each sees what the others have stored before it gives an ID. Main thread.
class UniqueIDTable {
public:
    /// An empty path keeps nothing beyond the run. A file that can't be read is logged and begun anew.
    explicit UniqueIDTable(std::filesystem::path storedIn);

    /// `isTaken` tells of IDs that are in use at the moment.
    std::int32_t idForName(const std::string& name, const std::function<bool(std::int32_t)>& isTaken);

    /// The endpoint goes on under another name. Gives its ID: the one that the new name has had before if that is free
    /// by `isTaken`, else the present one.
    std::int32_t rename(const std::string& from, const std::string& to, std::int32_t presentID,
                        const std::function<bool(std::int32_t)>& isTaken);

private:
    bool isOfAnother(std::int32_t uniqueID, const std::string& name) const;
    /// Reads the file if it is another one than the one that was read last.
    void refresh();
    void read();
    void write() const;

    const std::filesystem::path file;
    /// The file's number and time of change, of the one that was read last.
    std::pair<std::uint64_t, std::int64_t> lastRead{};
    std::map<std::string, std::int32_t> stored;
};

}  // namespace varnolex
