#pragma once

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "language/BlockReading.hpp"
#include "language/CallReading.hpp"
#include "language/CompiledNode.hpp"
#include "language/ValueExpression.hpp"

namespace varnolex {

struct NodeDraft;

/// Compiles patch language text into the flat lists from which a graph is built. Creates no tools.
///
/// One instance serves one compilation, on one thread. Time and memory grow linearly with the text.
class DSLCompiler {
public:
    using Param = DSLParam;

    /// The only fault that ends a compilation; all others degrade silently to a default or to nothing.
    class CompilerError : public std::exception {
    public:
        /// A name that the language doesn't have, as it stood in the text.
        static CompilerError unknownNode(std::string_view name);

        const std::string& name() const { return nodeName; }
        const char* what() const noexcept override { return message.c_str(); }

    private:
        explicit CompilerError(std::string_view unknownName);

        std::string nodeName;
        std::string message;
    };

    /// Replaces the lists by what the text says. Throws `CompilerError` at the first unknown name; the lists then hold
    /// a part that is of no use.
    void compile(std::string_view source);

    std::vector<DSLCompiledNode> nodes;
    std::vector<DSLConnection> connections;
    std::vector<DSLValueConnection> valueConnections;

private:
    /// The node that the next one hangs on, or nothing at the beginning of a chain.
    using Hook = std::optional<std::size_t>;

    void compileChain(std::string_view chain, Hook hook, int depth);
    void compileFanOut(std::string_view segment, Hook hook, int depth);
    void compileBlock(std::string_view text, Hook hook, int depth);
    void compileSplitBlock(const Block& block, Hook hook, int depth);
    void compileGateBlock(const Block& block, Hook hook, int depth);
    void compileGateBranches(const Block& block, std::string_view label, std::size_t logic, Hook hook, int depth);
    std::size_t compileNode(std::string_view segment, Hook hook);
    void appendSupport(SupportNodes support, Hook hook);
    std::size_t append(DSLCompiledNode node, Hook hook);
};

}  // namespace varnolex
