#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "studio/Modular.hpp"

namespace varnolex {

class DSLCompiler;

/// A cable that the text asks for and the rules of graphs refuse. `what()` gives the reason and the two nodes.
class PatchBuildError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A graph that was built from a compiled text.
struct BuiltPatch {
    std::shared_ptr<Modular> modular;
    /// Configurations that a tool couldn't take, so that it has the settings of a new one: a plain sentence each.
    std::vector<std::string> refusedConfigs;
};

/// Builds the graph, laid out left to right, its nodes in the order of the compiled ones. It is not part of an engine
/// yet. Throws `PatchBuildError`. Main thread.
BuiltPatch buildPatch(const DSLCompiler& program, std::string name);

}  // namespace varnolex
