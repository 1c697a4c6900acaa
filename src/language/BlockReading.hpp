#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnolex {

/// One labelled line of a `{ }` block, with the lines that continue it.
struct BlockBranch {
    /// One of low, high, on, off.
    std::string label;
    /// The label's parameter `ch`: a 0-based channel, from 0 to 255.
    std::optional<std::int64_t> channel;
    std::string chain;
};

/// A split or gate block.
struct Block {
    /// The text inside the parentheses ahead of the braces.
    std::string_view head;
    std::vector<BlockBranch> branches;
};

/// True of a segment with which a split block begins, and of one with which a gate block begins.
bool beginsSplitBlock(std::string_view segment);
bool beginsGateBlock(std::string_view segment);

/// The index of the segment in which the braces that are opened from `first` on are closed again, or of the last one.
std::size_t endOfBlock(const std::vector<std::string_view>& segments, std::size_t first);

/// Reads a whole block. Nothing for a text without a pair of braces. The head points into the text.
std::optional<Block> readBlock(std::string_view text);

}  // namespace varnolex
