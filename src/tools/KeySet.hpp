#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace varnolex {

/// A set of keys: a note or controller + 128 x channel, 0 to 15. Of fixed size, and visited in order.
class KeySet {
public:
    void insert(std::uint16_t key) { words[key / 64] |= bitOf(key); }

    /// Whether the key was there.
    bool remove(std::uint16_t key) {
        const bool wasThere = (words[key / 64] & bitOf(key)) != 0;
        words[key / 64] &= ~bitOf(key);
        return wasThere;
    }

    bool isEmpty() const {
        return std::ranges::all_of(words, [](std::uint64_t word) { return word == 0; });
    }

    /// `use` may remove the key that it is given.
    template <class Use>
    void forEach(Use&& use) const {
        for (std::size_t word = 0; word < words.size(); ++word)
            for (std::uint64_t bits = words[word]; bits != 0; bits &= bits - 1)
                use(static_cast<std::uint16_t>(64 * word + static_cast<std::size_t>(std::countr_zero(bits))));
    }

private:
    static std::uint64_t bitOf(std::uint16_t key) { return std::uint64_t{1} << (key % 64); }

    std::array<std::uint64_t, 16 * 128 / 64> words{};
};

}  // namespace varnolex
