#include <JavaScriptCore/JavaScript.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

#include "platform/script/ScriptHost.hpp"
#include "platform/script/javascript/Prelude.hpp"

// The library exports this, but has it in none of its headers. The callback is asked once after so many seconds of the
// script's processor time, and again only when the limit is set anew.
extern "C" {
using JSShouldTerminateCallback = bool (*)(JSContextRef, void*);
void JSContextGroupSetExecutionTimeLimit(JSContextGroupRef, double seconds, JSShouldTerminateCallback, void* context);
}

namespace varnolex {
namespace {

constexpr double secondsBetweenLooks = 0.005;
constexpr std::size_t longestMessage = std::size_t{1} << 20;
constexpr std::size_t outputRoom = longestMessage + 4096;
constexpr std::size_t stateNumbers = 5;

/// A text of the engine's.
class Text {
public:
    explicit Text(const char* text) : held(JSStringCreateWithUTF8CString(text)) {}
    explicit Text(JSStringRef owned) : held(owned) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() {
        if (held) JSStringRelease(held);
    }

    JSStringRef get() const { return held; }

    std::string str() const {
        if (!held) return {};
        std::string text(JSStringGetMaximumUTF8CStringSize(held), '\0');
        text.resize(std::max<std::size_t>(JSStringGetUTF8CString(held, text.data(), text.size()), 1) - 1);
        return text;
    }

private:
    const JSStringRef held;
};

using Arguments = std::span<const JSValueRef>;

class JavaScriptHost final : public ScriptHost {
public:
    JavaScriptHost() = default;
    ~JavaScriptHost() override {
        if (context) JSGlobalContextRelease(context);
        if (group) JSContextGroupRelease(group);
    }

    bool loadScript(const std::string& source) override {
        const Running here(*this);
        if (!open()) return fail("Failed to create JavaScript context");
        if (source.find('\0') != std::string::npos) return fail("The script has a zero byte in it");
        const Text text(source.c_str());
        if (JSStringGetLength(text.get()) == 0 && !source.empty()) return fail("The script isn't in UTF-8");
        JSValueRef exception = nullptr;
        evaluate(Text("var store = {};").get(), exception);
        if (!exception) evaluate(text.get(), exception);
        if (!exception) callOnLoad(exception);
        drain();
        return exception ? fail(describe(exception)) : true;
    }

    void processMessage(const std::uint8_t* bytes, std::size_t size) override {
        if (size < 1 || size > longestMessage || !dispatch) return;
        const Running here(*this);
        std::memcpy(input, bytes, size);
        const JSValueRef length = JSValueMakeNumber(context, static_cast<double>(size));
        JSValueRef exception = nullptr;
        JSObjectCallAsFunction(context, dispatch, nullptr, 1, &length, &exception);
        if (state[0] != 0) drain();
        if (exception && logCallback) logCallback(describe(exception));
    }

private:
    /// Which host's script runs on this thread: the engine's call-backs don't tell.
    struct Running {
        explicit Running(JavaScriptHost& host) : former(std::exchange(current, &host)) {}
        ~Running() { current = former; }
        JavaScriptHost* const former;
    };
    static inline thread_local JavaScriptHost* current = nullptr;

    bool open() {
        group = JSContextGroupCreate();
        if (!group) return false;
        // A group for each script: whatever holds up one can't hold up another.
        if (stopRequested) watch();
        context = JSGlobalContextCreateInGroup(group, nullptr);
        return context && defineGlobals();
    }

    void watch() { JSContextGroupSetExecutionTimeLimit(group, secondsBetweenLooks, &JavaScriptHost::mustEnd, this); }

    static bool mustEnd(JSContextRef, void* host) {
        auto& self = *static_cast<JavaScriptHost*>(host);
        self.watch();
        return self.isStopRequested();
    }

    // What the context is furnished with

    using Function = JSValueRef (JavaScriptHost::*)(Arguments, JSValueRef*);

    /// Every function of the host comes through here.
    template <Function function>
    static JSValueRef enter(JSContextRef called, JSObjectRef, JSObjectRef, std::size_t count, const JSValueRef given[],
                            JSValueRef* exception) {
        if (!current) return JSValueMakeUndefined(called);
        if (current->state[0] != 0) current->drain();
        return (current->*function)(Arguments(given, count), exception);
    }

    template <Function function>
    void define(JSObjectRef object, const char* name) {
        const Text text(name);
        JSObjectSetProperty(context, object, text.get(),
                            JSObjectMakeFunctionWithCallback(context, text.get(), &JavaScriptHost::enter<function>),
                            kJSPropertyAttributeNone, nullptr);
    }

    /// Memory that both sides see. The engine frees it with the context.
    template <class Number>
    JSObjectRef share(JSTypedArrayType type, std::size_t count, Number*& memory) {
        memory = static_cast<Number*>(std::calloc(count, sizeof(Number)));
        if (!memory) return nullptr;
        return JSObjectMakeTypedArrayWithBytesNoCopy(
            context, type, memory, count * sizeof(Number), [](void* bytes, void*) { std::free(bytes); }, nullptr,
            nullptr);
    }

    bool defineGlobals() {
        const JSObjectRef shared[]{share(kJSTypedArrayTypeUint8Array, longestMessage, input),
                                   share(kJSTypedArrayTypeUint8Array, outputRoom, output),
                                   share(kJSTypedArrayTypeInt32Array, stateNumbers, state)};
        if (std::ranges::any_of(shared, [](JSObjectRef array) { return !array; })) return false;
        seed();
        const JSObjectRef host = JSObjectMake(context, nullptr, nullptr);
        define<&JavaScriptHost::drainFunction>(host, "drain");
        define<&JavaScriptHost::inject>(host, "inject");
        define<&JavaScriptHost::delay>(host, "delay");
        if (calendarCallback) define<&JavaScriptHost::calendar>(host, "calendar");

        const JSObjectRef global = JSContextGetGlobalObject(context);
        define<&JavaScriptHost::block>(global, "block");
        define<&JavaScriptHost::flush>(global, "flush");
        define<&JavaScriptHost::log>(global, "log");
        define<&JavaScriptHost::clock>(global, "clock");
        define<&JavaScriptHost::setLabel>(global, "setLabel");
        define<&JavaScriptHost::setName>(global, "setName");
        define<&JavaScriptHost::globalGet>(global, "globalGet");
        define<&JavaScriptHost::globalSet>(global, "globalSet");
        define<&JavaScriptHost::sendKey>(global, "sendKey");
        return runPrelude({shared[0], shared[1], shared[2], host});
    }

    void seed() {
        for (std::size_t place = 1; place < stateNumbers; place += 2) {
            const std::uint64_t bits = seedCallback ? seedCallback() : place;
            std::memcpy(state + place, &bits, sizeof bits);
        }
    }

    bool runPrelude(const std::array<JSValueRef, 4>& arguments) {
        JSValueRef exception = nullptr;
        const JSValueRef maker = evaluate(Text(javaScriptPrelude).get(), exception);
        if (!maker) return false;
        const JSValueRef made = JSObjectCallAsFunction(context, JSValueToObject(context, maker, nullptr), nullptr,
                                                       arguments.size(), arguments.data(), &exception);
        if (!made) return false;
        dispatch = JSValueToObject(context, made, nullptr);
        JSValueProtect(context, dispatch);
        return true;
    }

    JSValueRef evaluate(JSStringRef text, JSValueRef& exception) {
        return JSEvaluateScript(context, text, nullptr, Text("script").get(), 1, &exception);
    }

    void callOnLoad(JSValueRef& exception) {
        const Text found("typeof onLoad === 'function' ? onLoad : undefined");
        const JSValueRef onLoad = evaluate(found.get(), exception);
        if (!onLoad || !JSValueIsObject(context, onLoad)) return;
        JSObjectCallAsFunction(context, JSValueToObject(context, onLoad, nullptr), nullptr, 0, nullptr, &exception);
    }

    // What comes out

    /// Hands on what `send` has left in the output.
    void drain() {
        const auto used = static_cast<std::size_t>(std::exchange(state[0], 0));
        for (std::size_t place = 0; place + 3 <= used && used <= outputRoom;) {
            const std::size_t count = output[place] | output[place + 1] << 8 | output[place + 2] << 16;
            place += 3;
            if (place + count > used) return;
            if (sendCallback) sendCallback(output + place, count);
            place += count;
        }
    }

    std::string describe(JSValueRef exception) {
        std::string text = textOf(exception);
        if (isStopRequested()) return "the script was stopped";
        if (text.empty()) text = "Unknown JS error";
        if (!JSValueIsObject(context, exception)) return text;
        const JSObjectRef object = JSValueToObject(context, exception, nullptr);
        const auto number = [&](const char* name) {
            const JSValueRef value = JSObjectGetProperty(context, object, Text(name).get(), nullptr);
            return value && JSValueIsNumber(context, value) ? JSValueToNumber(context, value, nullptr) : 0.0;
        };
        const double line = number("line");
        if (!(line >= 1 && line < 1e9)) return text;
        text += " (line " + std::to_string(static_cast<int>(line));
        if (const double column = number("column"); column >= 1 && column < 1e9)
            text += ", column " + std::to_string(static_cast<int>(column));
        return text + ")";
    }

    std::string textOf(JSValueRef value) { return Text(JSValueToStringCopy(context, value, nullptr)).str(); }

    std::string textAt(Arguments given, std::size_t place) {
        if (place >= given.size() || JSValueIsUndefined(context, given[place]) || JSValueIsNull(context, given[place]))
            return "(nil)";
        return textOf(given[place]);
    }

    double numberAt(Arguments given, std::size_t place) {
        return place < given.size() ? JSValueToNumber(context, given[place], nullptr) : 0;
    }

    /// Bytes that the prelude has put into the output, by their place and count. Empty unless they lie inside.
    std::span<const std::uint8_t> bytesAt(Arguments given, std::size_t place) {
        const double first = numberAt(given, place);
        const double count = numberAt(given, place + 1);
        if (!(first >= 0 && count >= 1 && first + count <= static_cast<double>(outputRoom))) return {};
        return {output + static_cast<std::size_t>(first), static_cast<std::size_t>(count)};
    }

    JSValueRef nothing() const { return JSValueMakeUndefined(context); }

    JSValueRef drainFunction(Arguments, JSValueRef*) { return nothing(); }

    JSValueRef inject(Arguments given, JSValueRef*) {
        if (const auto bytes = bytesAt(given, 0); injectCallback && !bytes.empty())
            injectCallback(bytes.data(), bytes.size());
        return nothing();
    }

    JSValueRef delay(Arguments given, JSValueRef*) {
        if (const auto bytes = bytesAt(given, 1); delayCallback && !bytes.empty())
            delayCallback(numberAt(given, 0), bytes.data(), bytes.size());
        return nothing();
    }

    JSValueRef calendar(Arguments, JSValueRef*) { return JSValueMakeNumber(context, calendarCallback()); }

    JSValueRef block(Arguments, JSValueRef*) {
        if (blockCallback) blockCallback();
        return nothing();
    }

    JSValueRef flush(Arguments, JSValueRef*) {
        if (flushCallback) flushCallback();
        return nothing();
    }

    JSValueRef log(Arguments given, JSValueRef*) {
        if (logCallback) logCallback(textAt(given, 0));
        return nothing();
    }

    JSValueRef clock(Arguments, JSValueRef*) { return JSValueMakeNumber(context, clockCallback ? clockCallback() : 0); }

    JSValueRef setLabel(Arguments given, JSValueRef*) {
        if (setLabelCallback) setLabelCallback(textAt(given, 0));
        return nothing();
    }

    JSValueRef setName(Arguments given, JSValueRef*) {
        if (setNameCallback) setNameCallback(textAt(given, 0));
        return nothing();
    }

    JSValueRef globalGet(Arguments given, JSValueRef*) {
        const auto found = globalGetCallback ? globalGetCallback(textAt(given, 0)) : std::nullopt;
        if (!found) return JSValueMakeNull(context);
        if (const bool* truth = std::get_if<bool>(&found->held)) return JSValueMakeBoolean(context, *truth);
        if (const double* number = std::get_if<double>(&found->held)) return JSValueMakeNumber(context, *number);
        if (const auto* json = std::get_if<ScriptValue::Json>(&found->held)) {
            const JSValueRef value = JSValueMakeFromJSONString(context, Text(json->text.c_str()).get());
            return value ? value : JSValueMakeNull(context);
        }
        return JSValueMakeString(context, Text(std::get<std::string>(found->held).c_str()).get());
    }

    JSValueRef globalSet(Arguments given, JSValueRef* exception) {
        if (!globalSetCallback) return nothing();
        globalSetCallback(textAt(given, 0), given.size() > 1 ? valueOf(given[1], exception) : std::nullopt);
        return nothing();
    }

    /// Nothing for a null, an undefined, or what has no JSON.
    std::optional<ScriptValue> valueOf(JSValueRef value, JSValueRef* exception) {
        switch (JSValueGetType(context, value)) {
            case kJSTypeBoolean:
                return ScriptValue{JSValueToBoolean(context, value)};
            case kJSTypeNumber:
                return ScriptValue{JSValueToNumber(context, value, nullptr)};
            case kJSTypeString:
                return ScriptValue{textOf(value)};
            case kJSTypeObject:
                if (const Text json(JSValueCreateJSONString(context, value, 0, exception)); json.get())
                    return ScriptValue{ScriptValue::Json{json.str()}};
                return std::nullopt;
            default:
                return std::nullopt;
        }
    }

    JSValueRef sendKey(Arguments given, JSValueRef*) {
        const double keyCode = numberAt(given, 0);
        const double modifier = numberAt(given, 1);
        if (sendKeyCallback && keyCode >= 0 && keyCode < 65536)
            sendKeyCallback(static_cast<int>(keyCode), std::abs(modifier) < 256 ? static_cast<int>(modifier) : 0);
        return nothing();
    }

    JSContextGroupRef group = nullptr;
    JSGlobalContextRef context = nullptr;
    JSObjectRef dispatch = nullptr;
    std::uint8_t* input = nullptr;
    std::uint8_t* output = nullptr;
    std::int32_t* state = nullptr;
};

}  // namespace
}  // namespace varnolex

extern "C" __attribute__((visibility("default"))) varnolex::ScriptHost* varnolexMakeJavaScriptHost() {
    return new varnolex::JavaScriptHost;
}
