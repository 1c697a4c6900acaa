#pragma once

#include <memory>
#include <string>

#include "platform/script/ScriptHost.hpp"

namespace varnolex {

/// The JavaScript engine, which is large, in a library of its own beside the program: it is loaded when the first
/// script wants it.
class JavaScriptLibrary {
public:
    struct Made {
        std::unique_ptr<ScriptHost> host;
        /// What is missing when there is no host.
        std::string error;
    };

    /// Main thread.
    static Made makeHost();
};

}  // namespace varnolex
