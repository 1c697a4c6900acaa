#include "platform/SupportFolder.hpp"

#include <system_error>

#include "platform/VarnolexLogger.hpp"

namespace varnolex {

const std::filesystem::path& SupportFolder::path() {
    if (isMade) return folder;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    isMade = !error;
    if (error) VarnolexLogger::shared().error("Failed to create app support directory: " + error.message());
    return folder;
}

}  // namespace varnolex
