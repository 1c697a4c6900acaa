#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/DiagnosticLog.hpp"
#include "platform/VirtualRuntime.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {

/// A flight recorder that is installed while this lives, over a file of its own.
class RecordedEvents {
public:
    explicit RecordedEvents(VirtualRuntime& virtualRuntime) : runtime(virtualRuntime) { take(); }
    ~RecordedEvents() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    RecordedEvents(const RecordedEvents&) = delete;
    RecordedEvents& operator=(const RecordedEvents&) = delete;

    /// What was recorded since the last call, as "kind: payload" in decimal numbers.
    std::vector<std::string> take() {
        log.attachment([](const DiagnosticLog::Attachment&) {});
        runtime.settle();
        const auto image = DiagnosticImage::fromBytes(readWholeFile(folder / "diag.vxld", DiagnosticImage::size));
        std::vector<std::string> texts;
        for (const DiagnosticImage::Record& record : image->records()) {
            std::string text = std::to_string(static_cast<int>(record.kind)) + ":";
            for (const std::uint8_t byte : record.payload) text += " " + std::to_string(byte);
            texts.push_back(text);
        }
        const std::size_t known = std::exchange(seen, texts.size());
        return {texts.begin() + static_cast<std::ptrdiff_t>(known), texts.end()};
    }

private:
    static std::filesystem::path makeFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "varnolex-recorder-XXXXXX").string();
        return mkdtemp(pattern.data());
    }

    VirtualRuntime& runtime;
    std::filesystem::path folder = makeFolder();
    DiagnosticLog log{folder / "diag.vxld"};
    DiagnosticLogScope session{log};
    std::size_t seen = 0;
};

}  // namespace varnolex
