// USES core
#include "FuzzInput.hpp"
#include "core/midifile/SysExFile.hpp"

using namespace varnolex;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        std::size_t total = 0;
        for (const SysExFile::Message& message : SysExFile::read(textOf(data, size))) {
            require(message.time == total * SysExFile::nanosecondsPerByte, "a message waits for the bytes before it");
            require(message.bytes.data() == data + total, "messages follow each other");
            require(message.bytes.front() == 0xF0 && message.bytes.back() == 0xF7, "messages are whole");
            total += message.bytes.size();
        }
        require(total == size, "no byte is left over");
    } catch (const SysExFileError& error) {
        require(std::string_view(error.what()).starts_with("offset 0x"), "an error names its place");
    }
    return 0;
}
