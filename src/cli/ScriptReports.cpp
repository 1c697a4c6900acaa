#include "cli/ScriptReports.hpp"

#include "cli/Streams.hpp"
#include "tools/script/ScriptTool.hpp"

namespace varnolex {

void hearScripts(const Modular& modular) {
    for (const auto& node : modular.nodes) {
        const auto script = std::dynamic_pointer_cast<ScriptTool>(node->tool);
        if (!script) continue;
        // The tool holds the function, so it mustn't hold the tool.
        script->onLog = [tool = script.get()](const std::string& line) { tellUser(tool->name() + ": " + line); };
        if (!script->installError().empty()) script->onLog(script->installError());
    }
}

}  // namespace varnolex
