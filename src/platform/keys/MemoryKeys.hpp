#pragma once

#include <string>
#include <vector>

#include "platform/keys/KeyService.hpp"

namespace varnolex {

/// A keyboard that is played by the program, for tests and renders. One thread.
class MemoryKeys final : public KeyService {
public:
    bool mayListen() override { return isAllowed; }
    void requestAccess() override { ++requests; }
    bool post(const KeyEvent& key) override;
    void note(std::string_view line) override;

    /// A key of the keyboard goes down or up.
    void type(const KeyEvent& key) const { deliver(key); }

    bool isListening() const { return listening; }

    /// What was posted and noted last.
    std::vector<KeyEvent> posted;
    std::vector<std::string> lines;

    bool isAllowed = true;
    /// Whether the system refuses all the same.
    bool isBroken = false;
    int requests = 0;

protected:
    bool startListening() override { return listening = !isBroken; }
    void stopListening() override { listening = false; }

private:
    bool listening = false;
};

}  // namespace varnolex
