#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string_view>

namespace varnolex {

/// Plain text lines for whoever looks into a fault, on standard error. Errors always go out, notes only while logging
/// is enabled; a `DebugLogFile` gets both. Any thread but those of the processing road: a line may wait for the
/// terminal.
class VarnolexLogger {
public:
    using Sink = std::function<void(std::string_view line)>;

    static VarnolexLogger& shared();

    /// A note, which is silent unless logging is enabled.
    void log(std::string_view text);

    /// A fault that the user should hear of.
    void error(std::string_view text);

    /// Logs the fault of a platform call, named by `context`, unless its status is 0.
    void check(std::int32_t status, std::string_view context);

    void setEnabled(bool isEnabled);

    /// Sends the lines elsewhere (to standard error when empty) and returns where they went before. The sink is called
    /// by one thread at a time and must not log.
    Sink replaceSink(Sink next);

    /// Where all lines go besides, nowhere when empty; on the same terms.
    void setDebugSink(Sink next);

private:
    void write(std::string_view line);

    std::mutex lock;
    Sink sink;
    Sink debugSink;
    bool enabled = false;
};

}  // namespace varnolex
