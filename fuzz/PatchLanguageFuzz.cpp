#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "language/CompiledPatchJSON.hpp"
#include "language/DSLCompiler.hpp"

/// Compiles any bytes as a program. The lists must hold together, and the same text must give the same lists.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnolex;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    DSLCompiler program;
    try {
        program.compile(text);
    } catch (const DSLCompiler::CompilerError& error) {
        if (error.name().size() > size) std::abort();
        return 0;
    }

    const auto isNode = [&](std::size_t index) { return index < program.nodes.size(); };
    for (const auto& cable : program.connections) {
        if (!isNode(cable.from) || !isNode(cable.to) || cable.from == cable.to) std::abort();
    }
    for (const auto& cable : program.valueConnections) {
        if (!isNode(cable.from) || !isNode(cable.to) || cable.portID.empty()) std::abort();
    }

    DSLCompiler again;
    again.compile(text);
    if (compiledPatchJSON(again) != compiledPatchJSON(program)) std::abort();
    return 0;
}
