#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace varnolex {

/// What became of the notes of each key (note + 128 x channel), several of one key on top of each other. Of fixed
/// size: when a key is pressed again and again without an end, its oldest notes are forgotten.
class NoteStacks {
public:
    void push(std::uint16_t key, std::uint8_t note) {
        Stack& stack = stacks[key];
        stack.notes[stack.next] = note;
        stack.next = static_cast<std::uint8_t>((stack.next + 1) % depth);
        if (stack.count < depth) ++stack.count;
    }

    /// The key's last note, which is forgotten.
    std::optional<std::uint8_t> pop(std::uint16_t key) {
        Stack& stack = stacks[key];
        if (stack.count == 0) return std::nullopt;
        --stack.count;
        stack.next = static_cast<std::uint8_t>((stack.next + depth - 1) % depth);
        return stack.notes[stack.next];
    }

private:
    /// More than hands and loops hold of one key; a stack is half a cache line.
    static constexpr std::uint8_t depth = 30;

    struct Stack {
        std::array<std::uint8_t, depth> notes;
        std::uint8_t next;
        std::uint8_t count;
    };

    std::array<Stack, 16 * 128> stacks{};
};

}  // namespace varnolex
