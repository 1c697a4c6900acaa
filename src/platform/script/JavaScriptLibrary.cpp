#include "platform/script/JavaScriptLibrary.hpp"

#include <dlfcn.h>

#include <filesystem>

#include "platform/Sanitizer.hpp"

#if defined(VARNOLEX_ADDRESS_SANITIZER)
// The search for leaks fails over the engine's thread-local memory as it is recorded for a library that is loaded
// later, and what the engine makes once it keeps for good.
extern "C" const char* __asan_default_options() { return "intercept_tls_get_addr=0"; }
extern "C" const char* __lsan_default_suppressions() { return "leak:libjavascriptcoregtk\n"; }
#elif defined(VARNOLEX_THREAD_SANITIZER)
// The engine has locks of its own making, which nothing tells the sanitizer of.
extern "C" const char* __tsan_default_suppressions() {
    return "race:libjavascriptcoregtk\nmutex:libjavascriptcoregtk\nsignal:libjavascriptcoregtk\n";
}
#endif

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
