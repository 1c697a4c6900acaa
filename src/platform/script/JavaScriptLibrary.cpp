#include "platform/script/JavaScriptLibrary.hpp"

#include <dlfcn.h>

#include <filesystem>

namespace varnolex {
namespace {

constexpr const char* fileName = "libvarnolex-javascript.so";
constexpr const char* makerName = "varnolexMakeJavaScriptHost";

/// Beside the program, as it is built and as it is installed.
std::filesystem::path libraryFile() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "lib" / "varnolex" / fileName;
}

struct Library {
    using Maker = ScriptHost* (*)();

    Library() {
        const std::string file = libraryFile();
        // It stays for good: an engine's threads don't end with its last script.
        void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (handle) make = reinterpret_cast<Maker>(dlsym(handle, makerName));
        if (make) return;
        const char* const reason = dlerror();
        error = "JavaScript can't be loaded: " + std::string(reason ? reason : file + " isn't what it should be");
    }

    Maker make = nullptr;
    std::string error;
};

}  // namespace

JavaScriptLibrary::Made JavaScriptLibrary::makeHost() {
    static const Library library;
    if (!library.make) return {nullptr, library.error};
    std::unique_ptr<ScriptHost> host(library.make());
    if (!host) return {nullptr, "Failed to create JavaScript context"};
    return {std::move(host), {}};
}

}  // namespace varnolex
