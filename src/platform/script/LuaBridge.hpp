#pragma once

#include <array>
#include <memory>

#include "platform/script/LuaMemory.hpp"
#include "platform/script/ScriptHost.hpp"

struct lua_State;

namespace varnolex {

/// Binds a Lua 5.4 state to the callbacks of a script host. The state has the standard libraries; what they would write
/// to standard output goes to the log (`print`) or to standard error, and `os.exit` is an error.
class LuaBridge final : public ScriptHost {
public:
    LuaBridge() = default;
    ~LuaBridge() override;

    bool loadScript(const std::string& text) override;
    void processMessage(const std::uint8_t* bytes, std::size_t size) override;

private:
    struct Functions;

    bool open();
    void close();
    bool prepareLibraries();
    void collectSeldom();
    void collectInTime();
    void adaptCollector();
    void watch();
    bool failWithTop();
    void processLongMessage(const std::uint8_t* bytes, std::size_t size);
    void callAndLogError(int arguments);

    /// For the places of errors.
    std::string source;
    std::unique_ptr<LuaMemory> memory;
    lua_State* state = nullptr;
    bool isLarge = false;
    // Places at the bottom of the stack.
    int errorHandler = 0;
    int shortMessage = 0;
};

/// A Lua host.
std::unique_ptr<ScriptHost> makeLuaHost();

}  // namespace varnolex
