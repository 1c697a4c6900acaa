#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "engine/CCBinding.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/VirtualRuntime.hpp"
#include "platform/WholeFile.hpp"
#include "studio/DocumentReader.hpp"
#include "studio/DocumentWriter.hpp"
#include "support/Places.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex {

inline const std::filesystem::path documentCorpus = sourceFolder() / "tests/corpus/documents";

inline std::string corpusBytes(const std::string& name) {
    return readWholeFile(documentCorpus / name, documentSizeLimit);
}

inline ModularDocument corpusDocument(const std::string& name) { return DocumentReader::read(corpusBytes(name)); }

/// The ids of the corpus are made of one number.
inline UUID numberedID(std::uint64_t number) { return {number << 32 | 0x4000, std::uint64_t{0x8000} << 48 | number}; }

/// Virtual time, a log that is kept, and an empty binding store.
class DocumentFixture : public testing::Test {
protected:
    DocumentFixture() {
        formerSink = VarnolexLogger::shared().replaceSink([this](std::string_view line) { logged.emplace_back(line); });
        VarnolexLogger::shared().setEnabled(true);
        CCBindingStore::shared().setBindings(CCBindingStore::Map{});
    }

    ~DocumentFixture() override {
        CCBindingStore::shared().setBindings(CCBindingStore::Map{});
        VarnolexLogger::shared().setEnabled(false);
        VarnolexLogger::shared().replaceSink(formerSink);
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    std::vector<std::string> logged;

private:
    VarnolexLogger::Sink formerSink;
};

/// A folder that goes with the test.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "varnolex-XXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path path;
};

}  // namespace varnolex
