#include "platform/VarnolexLogger.hpp"

#include <cstdio>
#include <string>
#include <utility>

namespace varnolex {

VarnolexLogger& VarnolexLogger::shared() {
    static VarnolexLogger logger;
    return logger;
}

void VarnolexLogger::log(std::string_view text) {
    const std::scoped_lock hold(lock);
    if (debugSink) debugSink(text);
    if (enabled) write(text);
}

void VarnolexLogger::error(std::string_view text) {
    const std::scoped_lock hold(lock);
    if (debugSink) debugSink(text);
    write(text);
}

void VarnolexLogger::check(std::int32_t status, std::string_view context) {
    if (status != 0) error(std::string(context) + ": status " + std::to_string(status));
}

void VarnolexLogger::setEnabled(bool isEnabled) {
    const std::scoped_lock hold(lock);
    enabled = isEnabled;
}

VarnolexLogger::Sink VarnolexLogger::replaceSink(Sink next) {
    const std::scoped_lock hold(lock);
    return std::exchange(sink, std::move(next));
}

void VarnolexLogger::setDebugSink(Sink next) {
    const std::scoped_lock hold(lock);
    debugSink = std::move(next);
}

void VarnolexLogger::write(std::string_view line) {
    if (sink) return sink(line);
    // One call a line, so that lines of several processes don't mix.
    const std::string whole = std::string(line) + '\n';
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

}  // namespace varnolex
