#pragma once

namespace varnolex {

/// What runs in each context before the script. It makes the functions that hand bytes over, which write them to memory
/// that the host shares (`output`), so that a message out costs no call of the host, and returns what the host calls
/// with the length of each message that it has put into `input`.
///
/// `state[0]` is how much of the output is in use; `state[1]` to `state[4]` are what random draws begin from. A run of
/// bytes in the output has its length in three bytes in front.
inline constexpr const char* javaScriptPrelude = R"((function (input, output, state, host) {
    const isArray = Array.isArray;
    const longest = input.length;
    const room = output.length;

    function put(bytes) {
        if (!isArray(bytes)) return 0;
        const count = bytes.length;
        if (count === 0 || count > longest) return 0;
        if (state[0] + 3 + count > room) host.drain();
        const place = state[0];
        output[place] = count;
        output[place + 1] = count >> 8;
        output[place + 2] = count >> 16;
        for (let index = 0; index < count; ++index) output[place + 3 + index] = bytes[index];
        return count;
    }

    globalThis.send = function send(bytes) {
        const count = put(bytes);
        if (count > 0) state[0] += 3 + count;
    };
    globalThis.inject = function inject(bytes) {
        const count = put(bytes);
        if (count > 0) host.inject(state[0] + 3, count);
    };
    globalThis.delay = function delay(ms, bytes) {
        const count = put(bytes);
        if (count > 0) host.delay(+ms, state[0] + 3, count);
    };

    let [, a, b, c, d] = state;
    Math.random = function random() {
        const t = ((a + b) | 0) + d | 0;
        d = d + 1 | 0;
        a = b ^ (b >>> 9);
        b = c + (c << 3) | 0;
        c = (c << 21) | (c >>> 11);
        c = c + t | 0;
        return (t >>> 0) / 4294967296;
    };

    if (host.calendar) {
        const Machine = Date;
        const now = () => Math.floor(host.calendar() * 1000);
        globalThis.Date = function Date(...parts) {
            if (!new.target) return new Machine(now()).toString();
            return Reflect.construct(Machine, parts.length > 0 ? parts : [now()], new.target);
        };
        Object.assign(globalThis.Date, {now, parse: Machine.parse, UTC: Machine.UTC, prototype: Machine.prototype});
        Machine.prototype.constructor = globalThis.Date;
    }

    return function (count) {
        state[0] = 0;
        if (typeof onMessage !== 'function') return;
        const status = input[0];
        const data1 = count > 1 ? input[1] : 0;
        const data2 = count > 2 ? input[2] : 0;
        let bytes;
        if (count === 3) {
            bytes = [status, data1, data2];
        } else {
            bytes = [];
            for (let index = 0; index < count; ++index) bytes[index] = input[index];
        }
        onMessage({status, type: status & 0xF0, channel: status & 0x0F, data1, data2, bytes});
    };
}))";

}  // namespace varnolex
