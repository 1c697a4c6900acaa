#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace varnolex {

/// Where drivers lie. A driver is a folder whose "Info.json" says who it is and which version, such as
/// {"identifier": "com.hol-venrik.VXDriver", "version": "1.0"}, with the driver's program beside it.
struct DriverFolders {
    /// The folders of all who may have installed a driver, in the order in which they are looked through: the
    /// system's packages, this machine's, the user's.
    std::vector<std::filesystem::path> installed;
    /// The user's own, into which a driver is installed.
    std::filesystem::path user;
    /// What the application brings along.
    std::filesystem::path builtInPlugIns;

    /// /usr/lib/varnolex/MIDI Drivers, /usr/local/lib/varnolex/MIDI Drivers and varnolex/MIDI Drivers among the user's
    /// data; the application's own copy is in ../lib/varnolex, seen from the folder of the program.
    static DriverFolders ofThisSystem();
};

/// Makes sure that the application's own version of the driver "VXDriver.plugin" is installed: nothing is touched when
/// one of the same version is there, and one of another version is replaced. Gives the sentence that tells what went
/// wrong, or nothing. Main thread; waits for the disk.
std::optional<std::string> ensureDriverInstalled(const DriverFolders& folders = DriverFolders::ofThisSystem());

}  // namespace varnolex
