#pragma once

#include <string>

#include "language/CompiledNode.hpp"

namespace varnolex {

class DSLCompiler;

/// A compiled program on one line, without a line end:
/// `{"nodes":[{"toolType":"MidiIn","config":{}}],"connections":[[0,1]],"valueConnections":[[2,1,"semitones"]]}`.
std::string compiledPatchJSON(const DSLCompiler& program);

/// One configuration as a JSON object with sorted keys, as the record decoders read it. Whole numbers of an integer key
/// are written without a point, those of a real key with one. Bytes that are no UTF-8 become replacement characters.
std::string compiledConfigJSON(const CompiledConfig& config);

}  // namespace varnolex
