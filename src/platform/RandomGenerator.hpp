#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "platform/UUID.hpp"

namespace varnolex {

/// A small, fast generator (xoshiro256**) whose sequence follows its seed. Not for secrets. One thread.
class RandomGenerator {
public:
    explicit RandomGenerator(std::uint64_t seed) noexcept {
        // The seed is spread (splitmix64), so that neighbouring seeds start far from each other and none is all zero.
        for (std::uint64_t& word : state) {
            seed += 0x9E3779B97F4A7C15ull;
            std::uint64_t mixed = (seed ^ (seed >> 30)) * 0xBF58476D1CE4E5B9ull;
            mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBull;
            word = mixed ^ (mixed >> 31);
        }
    }

    /// 64 random bits.
    std::uint64_t next() noexcept {
        const std::uint64_t result = std::rotl(state[1] * 5, 7) * 9;
        advance();
        return result;
    }

    /// A version 4 UUID, in one step.
    UUID nextUUID() noexcept {
        // The two scramblers of this family (xoshiro256** and ++) look at different words of the state.
        const std::uint64_t first = std::rotl(state[1] * 5, 7) * 9;
        const std::uint64_t second = std::rotl(state[0] + state[3], 23) + state[0];
        advance();
        return UUID::ofRandomBits(first, second);
    }

private:
    void advance() noexcept {
        const std::uint64_t shifted = state[1] << 17;
        state[2] ^= state[0];
        state[3] ^= state[1];
        state[1] ^= state[2];
        state[0] ^= state[3];
        state[2] ^= shifted;
        state[3] = std::rotl(state[3], 45);
    }

    std::array<std::uint64_t, 4> state{};
};

}  // namespace varnolex
