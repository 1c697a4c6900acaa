#include "platform/script/LuaBridge.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include <lua.hpp>

#include "platform/script/LuaErrorColumn.hpp"

namespace varnolex {
namespace {

/// The longest array that a script may hand over.
constexpr lua_Unsigned longestArray = 256;

/// Instructions between two looks at the request to stop: a few microseconds.
constexpr int instructionsBetweenLooks = 1000;

/// The machine's name, streams and end belong to the program; random draws begin from what the host gives.
constexpr const char* preparation = R"(
local log, seedHigh, seedLow, calendar, clock = ...
math.randomseed(seedHigh, seedLow)
io.stdout = io.stderr
io.output(io.stderr)
print = function(...)
    local texts = table.pack(...)
    for index = 1, texts.n do texts[index] = tostring(texts[index]) end
    log(table.concat(texts, "\t"))
end
os.exit = function() error("a script can't end the program", 2) end
if calendar then
    local time, date = os.time, os.date
    os.time = function(parts) if parts then return time(parts) end return calendar() end
    os.date = function(format, moment) return date(format, moment or calendar()) end
    os.clock = clock

    -- The engine's own order of texts is another one in each run.
    local next, type, get, metatable, sort, move = next, type, rawget, debug.getmetatable, table.sort, table.move
    local rank = {number = 1, string = 2, boolean = 3}
    local function isEarlier(left, right)
        local leftRank, rightRank = rank[type(left)], rank[type(right)]
        if leftRank ~= rightRank then return leftRank < rightRank end
        if leftRank == 3 then return right and not left end
        return left < right
    end
    local enginePairs = pairs
    pairs = function(subject)
        local meta = metatable(subject)
        if type(subject) ~= "table" or meta and get(meta, "__pairs") then return enginePairs(subject) end
        local keys, others = {}, {}
        for key in next, subject do
            local list = rank[type(key)] and keys or others
            list[#list + 1] = key
        end
        sort(keys, isEarlier)
        move(others, 1, #others, #keys + 1, keys)
        local place = 0
        return function()
            while true do
                place = place + 1
                local key = keys[place]
                local value = get(subject, key)
                if key == nil or value ~= nil then return key, value end
            end
        end, subject, nil
    end
end
)";

/// Calls `onMessage` with the table of a message of one to three bytes: Lua makes it faster than its interface does.
/// Each message has a table of its own, since scripts keep them. A look at the type of a function that is known
/// already would cost as much as one of the tables.
constexpr const char* shortMessageCall = R"(
local type, known = type
return function(status, data1, data2, count)
    local call = onMessage
    if call ~= known then
        if type(call) ~= "function" then return end
        known = call
    end
    local bytes
    if count == 3 then bytes = {status, data1, data2} elseif count == 2 then bytes = {status, data1} else bytes = {status} end
    call {status = status, type = status & 0xF0, channel = status & 0x0F, data1 = data1, data2 = data2, bytes = bytes}
end
)";

LuaBridge& bridgeOf(lua_State* lua) { return **static_cast<LuaBridge**>(lua_getextraspace(lua)); }

void* allocate(void* memory, void* block, std::size_t formerSize, std::size_t size) {
    return static_cast<LuaMemory*>(memory)->resize(block, formerSize, size);
}

/// The bytes of an array argument.
struct ArrayArgument {
    ArrayArgument(lua_State* lua, int place) {
        if (!lua_istable(lua, place)) return;
        const lua_Unsigned length = lua_rawlen(lua, place);
        if (length < 1 || length > longestArray) return;
        count = static_cast<std::size_t>(length);
        for (std::size_t index = 0; index < count; ++index) {
            if (index > 0 && index % mostOnStack == 0) lua_pop(lua, mostOnStack);
            lua_rawgeti(lua, place, static_cast<lua_Integer>(index + 1));
            bytes[index] = byteAt(lua);
        }
    }

    /// Elements that may lie on the stack at once. The rest is cleared up when the function returns.
    static constexpr int mostOnStack = 8;

    static std::uint8_t byteAt(lua_State* lua) {
        int isInteger = 0;
        const lua_Integer whole = lua_tointegerx(lua, -1, &isInteger);
        if (isInteger) return static_cast<std::uint8_t>(whole);
        const double real = std::fmod(std::trunc(lua_tonumber(lua, -1)), 256);
        return std::isfinite(real) ? static_cast<std::uint8_t>(static_cast<int>(real)) : std::uint8_t{0};
    }

    bool isUsable() const { return count > 0; }

    std::array<std::uint8_t, longestArray> bytes;
    std::size_t count = 0;
};

/// The text of an argument of any type. It lies on the stack.
std::string_view textAt(lua_State* lua, int place) {
    if (lua_isnoneornil(lua, place)) return "(nil)";
    std::size_t length = 0;
    const char* const text = luaL_tolstring(lua, place, &length);
    return {text, length};
}

void pushValue(lua_State* lua, const ScriptValue& value) {
    const auto push = [lua](std::string_view text) { lua_pushlstring(lua, text.data(), text.size()); };
    if (const bool* truth = std::get_if<bool>(&value.held)) return push(*truth ? "true" : "false");
    if (const double* number = std::get_if<double>(&value.held)) {
        if (*number == std::floor(*number) && std::abs(*number) < 1e15)
            lua_pushinteger(lua, static_cast<lua_Integer>(*number));
        else
            lua_pushnumber(lua, *number);
        lua_tolstring(lua, -1, nullptr);
        return;
    }
    if (const std::string* text = std::get_if<std::string>(&value.held)) return push(*text);
    push(std::get<ScriptValue::Json>(value.held).text);
}

std::string_view topText(lua_State* lua) {
    std::size_t length = 0;
    const char* const text = lua_tolstring(lua, -1, &length);
    return text ? std::string_view(text, length) : std::string_view();
}

}  // namespace

/// What scripts call. Lua's errors jump, so nothing here holds anything that has to be ended when one may come.
struct LuaBridge::Functions {
    static int send(lua_State* lua) {
        const ArrayArgument array(lua, 1);
        const auto& callback = bridgeOf(lua).sendCallback;
        if (array.isUsable() && callback) callback(array.bytes.data(), array.count);
        return 0;
    }

    static int block(lua_State* lua) {
        if (const auto& callback = bridgeOf(lua).blockCallback) callback();
        return 0;
    }

    static int inject(lua_State* lua) {
        const ArrayArgument array(lua, 1);
        const auto& callback = bridgeOf(lua).injectCallback;
        if (array.isUsable() && callback) callback(array.bytes.data(), array.count);
        return 0;
    }

    static int delay(lua_State* lua) {
        const double milliseconds = luaL_checknumber(lua, 1);
        const ArrayArgument array(lua, 2);
        const auto& callback = bridgeOf(lua).delayCallback;
        if (array.isUsable() && callback) callback(milliseconds, array.bytes.data(), array.count);
        return 0;
    }

    static int flush(lua_State* lua) {
        if (const auto& callback = bridgeOf(lua).flushCallback) callback();
        return 0;
    }

    static int log(lua_State* lua) { return giveText(lua, bridgeOf(lua).logCallback); }
    static int setLabel(lua_State* lua) { return giveText(lua, bridgeOf(lua).setLabelCallback); }
    static int setName(lua_State* lua) { return giveText(lua, bridgeOf(lua).setNameCallback); }

    static int giveText(lua_State* lua, const std::function<void(std::string_view)>& callback) {
        const std::string_view text = textAt(lua, 1);
        if (callback) callback(text);
        return 0;
    }

    static int clock(lua_State* lua) {
        const auto& callback = bridgeOf(lua).clockCallback;
        lua_pushnumber(lua, callback ? callback() : 0);
        return 1;
    }

    static int calendar(lua_State* lua) {
        lua_pushinteger(lua, static_cast<lua_Integer>(bridgeOf(lua).calendarCallback()));
        return 1;
    }

    /// Lua may run out of memory while the value is pushed, so it is put where a jump leaves nothing behind.
    static int globalGet(lua_State* lua) {
        std::size_t length = 0;
        const char* const key = luaL_checklstring(lua, 1, &length);
        LuaBridge& bridge = bridgeOf(lua);
        if (!bridge.globalGetCallback) return 0;
        static thread_local std::optional<ScriptValue> found;
        found = bridge.globalGetCallback({key, length});
        if (found)
            pushValue(lua, *found);
        else
            lua_pushnil(lua);
        return 1;
    }

    static int globalSet(lua_State* lua) {
        std::size_t keyLength = 0;
        const char* const key = luaL_checklstring(lua, 1, &keyLength);
        const bool isNil = lua_isnoneornil(lua, 2);
        const std::string_view text = textAt(lua, 2);
        const auto& callback = bridgeOf(lua).globalSetCallback;
        if (!callback) return 0;
        callback({key, keyLength}, isNil ? std::nullopt : std::optional(ScriptValue{std::string(text)}));
        return 0;
    }

    static int sendKey(lua_State* lua) {
        const auto keyCode = luaL_checknumber(lua, 1);
        const auto modifier = luaL_optnumber(lua, 2, 0);
        const auto& callback = bridgeOf(lua).sendKeyCallback;
        if (callback && keyCode >= 0 && keyCode < 65536 && std::abs(modifier) < 256)
            callback(static_cast<int>(keyCode), static_cast<int>(modifier));
        return 0;
    }

    static constexpr luaL_Reg table[]{
        {"send", send},           {"block", block},         {"inject", inject},
        {"delay", delay},         {"flush", flush},         {"log", log},
        {"clock", clock},         {"setLabel", setLabel},   {"setName", setName},
        {"globalGet", globalGet}, {"globalSet", globalSet}, {"sendKey", sendKey},
        {nullptr, nullptr},
    };

    /// Raises an error again and again, at each instruction, so that no protected call of the script catches the last
    /// one.
    static void look(lua_State* lua, lua_Debug*) {
        if (!bridgeOf(lua).isStopRequested()) return;
        lua_sethook(lua, look, LUA_MASKCOUNT, 1);
        luaL_error(lua, "the script was stopped");
    }

    static int openLibraries(lua_State* lua) {
        luaL_openlibs(lua);
        lua_pushglobaltable(lua);
        luaL_setfuncs(lua, table, 0);
        lua_newtable(lua);
        lua_setfield(lua, -2, "store");
        return 0;
    }

    /// The same for a longer message: all that may fail happens inside one protected call.
    static int callOnMessage(lua_State* lua) {
        const auto* const bytes = static_cast<const std::uint8_t*>(lua_touserdata(lua, 1));
        const auto size = static_cast<std::size_t>(lua_tointeger(lua, 2));
        if (lua_getglobal(lua, "onMessage") != LUA_TFUNCTION) return 0;
        lua_createtable(lua, 0, 6);
        const auto field = [&](const char* name, int value) {
            lua_pushinteger(lua, value);
            lua_setfield(lua, -2, name);
        };
        field("status", bytes[0]);
        field("type", bytes[0] & 0xF0);
        field("channel", bytes[0] & 0x0F);
        field("data1", size > 1 ? bytes[1] : 0);
        field("data2", size > 2 ? bytes[2] : 0);
        lua_createtable(lua, static_cast<int>(std::min<std::size_t>(size, 1 << 30)), 0);
        for (std::size_t index = 0; index < size; ++index) {
            lua_pushinteger(lua, bytes[index]);
            lua_rawseti(lua, -2, static_cast<lua_Integer>(index + 1));
        }
        lua_setfield(lua, -2, "bytes");
        lua_call(lua, 1, 0);
        return 0;
    }

    static int runChunk(lua_State* lua) {
        const std::string& source = bridgeOf(lua).source;
        if (luaL_loadbufferx(lua, source.data(), source.size(), "=script", "t") != LUA_OK) return lua_error(lua);
        lua_call(lua, 0, 0);
        return 0;
    }

    /// Turns whatever was thrown into a text that names the place.
    static int describeError(lua_State* lua) {
        if (!lua_isstring(lua, 1)) luaL_tolstring(lua, 1, nullptr);
        if (const auto column = columnOfLuaError(bridgeOf(lua).source, topText(lua))) {
            lua_pushfstring(lua, " (column %d)", static_cast<int>(*column));
            lua_concat(lua, 2);
        }
        return 1;
    }

    static int callOnLoad(lua_State* lua) {
        if (lua_getglobal(lua, "onLoad") == LUA_TFUNCTION) lua_call(lua, 0, 0);
        return 0;
    }

    static int runPreparation(lua_State* lua) {
        LuaBridge& bridge = bridgeOf(lua);
        const std::uint64_t seed = bridge.seedCallback ? bridge.seedCallback() : 0;
        if (luaL_loadstring(lua, preparation) != LUA_OK) return lua_error(lua);
        lua_pushcfunction(lua, log);
        lua_pushinteger(lua, static_cast<lua_Integer>(seed >> 32));
        lua_pushinteger(lua, static_cast<lua_Integer>(seed & 0xFFFF'FFFF));
        if (bridge.calendarCallback)
            lua_pushcfunction(lua, calendar);
        else
            lua_pushnil(lua);
        lua_pushcfunction(lua, clock);
        lua_call(lua, 5, 0);
        if (luaL_loadbufferx(lua, shortMessageCall, std::strlen(shortMessageCall), "=message", "t") != LUA_OK)
            return lua_error(lua);
        lua_call(lua, 0, 1);
        return 1;
    }
};

LuaBridge::~LuaBridge() { close(); }

void LuaBridge::close() {
    if (state) lua_close(std::exchange(state, nullptr));
    memory.reset();
}

bool LuaBridge::open() {
    close();
    memory = std::make_unique<LuaMemory>();
    state = lua_newstate(allocate, memory.get());
    if (!state) return false;
    *static_cast<LuaBridge**>(lua_getextraspace(state)) = this;
    isLarge = false;
    collectSeldom();
    lua_pushcfunction(state, Functions::describeError);
    errorHandler = lua_gettop(state);
    return true;
}

/// A longer way between collections: what a small script always has is marked each time.
void LuaBridge::collectSeldom() { lua_gc(state, LUA_GCINC, 1000, 400, 0); }

/// With as long a way a large script would come to the limit first, where all of it is collected within one message.
/// The step begins a collection in place of one that is far away.
void LuaBridge::collectInTime() {
    lua_gc(state, LUA_GCINC, 200, 400, 0);
    lua_gc(state, LUA_GCSTEP, 0);
}

void LuaBridge::adaptCollector() {
    if (memory->isLarge() == isLarge) return;
    isLarge = !isLarge;
    isLarge ? collectInTime() : collectSeldom();
}

bool LuaBridge::prepareLibraries() {
    lua_pushcfunction(state, Functions::openLibraries);
    if (lua_pcall(state, 0, 0, errorHandler) != LUA_OK) return false;
    lua_pushcfunction(state, Functions::runPreparation);
    if (lua_pcall(state, 0, 1, errorHandler) != LUA_OK) return false;
    shortMessage = lua_gettop(state);
    return true;
}

/// Coroutines take the hook over from whoever makes them. It is set anew for each call: a script that was stopped may
/// run again.
void LuaBridge::watch() {
    if (stopRequested) lua_sethook(state, Functions::look, LUA_MASKCOUNT, instructionsBetweenLooks);
}

bool LuaBridge::failWithTop() {
    const std::string_view reason = topText(state);
    fail(reason.empty() ? "Unknown Lua error" : std::string(reason));
    close();
    return false;
}

void LuaBridge::callAndLogError(int arguments) {
    if (lua_pcall(state, arguments, 0, errorHandler) == LUA_OK) return;
    if (logCallback) logCallback(topText(state));
    lua_pop(state, 1);
}

bool LuaBridge::loadScript(const std::string& text) {
    fail({});
    source = text;
    if (!open()) return fail("Failed to create Lua state");
    if (!prepareLibraries()) return failWithTop();
    watch();
    lua_pushcfunction(state, Functions::runChunk);
    if (lua_pcall(state, 0, 0, errorHandler) != LUA_OK) return failWithTop();
    lua_pushcfunction(state, Functions::callOnLoad);
    callAndLogError(0);
    return true;
}

void LuaBridge::processMessage(const std::uint8_t* bytes, std::size_t size) {
    if (size < 1 || !state) return;
    watch();
    adaptCollector();
    if (size > 3) return processLongMessage(bytes, size);
    lua_pushvalue(state, shortMessage);
    for (std::size_t place = 0; place < 3; ++place) lua_pushinteger(state, place < size ? bytes[place] : 0);
    lua_pushinteger(state, static_cast<lua_Integer>(size));
    callAndLogError(4);
}

void LuaBridge::processLongMessage(const std::uint8_t* bytes, std::size_t size) {
    lua_pushcfunction(state, Functions::callOnMessage);
    lua_pushlightuserdata(state, const_cast<std::uint8_t*>(bytes));
    lua_pushinteger(state, static_cast<lua_Integer>(size));
    callAndLogError(2);
}

std::unique_ptr<ScriptHost> makeLuaHost() { return std::make_unique<LuaBridge>(); }

}  // namespace varnolex
