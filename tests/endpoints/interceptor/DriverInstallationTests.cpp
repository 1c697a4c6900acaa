#include <gmock/gmock.h>

#include <cstdlib>

#include "endpoints/interceptor/DriverInstallation.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {
namespace {

namespace fs = std::filesystem;

class DriverInstallationTest : public testing::Test {
protected:
    DriverInstallationTest() {
        std::string made = testing::TempDir() + "varnolex-driver-XXXXXX";
        EXPECT_TRUE(::mkdtemp(made.data()));
        root = made;
        folders = {{root / "system", root / "local", root / "user"}, root / "user", root / "app"};
    }
    ~DriverInstallationTest() override {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }

    void put(const fs::path& driver, const std::string& info) {
        fs::create_directories(driver);
        writeWholeFile(driver / "Info.json", info);
        writeWholeFile(driver / "program", "run " + info);
    }
    static std::string info(const std::string& version) {
        return R"({"identifier": "com.hol-venrik.VXDriver", "version": ")" + version + "\"}";
    }
    std::string errorOf() { return ensureDriverInstalled(folders).value_or(""); }
    std::string programIn(const fs::path& driver) { return readWholeFile(driver / "program", 1000); }

    fs::path root;
    DriverFolders folders;
    const std::string name = "VXDriver.plugin";
};

TEST_F(DriverInstallationTest, TellsWhatIsWrongWithTheApplicationsOwnCopy) {
    const fs::path own = folders.builtInPlugIns / name;
    EXPECT_EQ(errorOf(), "The driver plugin was not found inside the app bundle.");
    fs::create_directories(own);
    EXPECT_EQ(errorOf(), "Could not read the driver plugin's info dictionary.");
    for (const std::string text : {"", "[]", "{\"version\": ", "\xFF\xFE"}) {
        put(own, text);
        EXPECT_EQ(errorOf(), "Could not read the driver plugin's info dictionary.") << text;
    }
    put(own, std::string(100'000, '['));
    EXPECT_EQ(errorOf(), "Could not read the driver plugin's info dictionary.");
    for (const std::string text : {"{}", R"({"version": 3})", R"({"version": ""})"}) {
        put(own, text);
        EXPECT_EQ(errorOf(), "Could not read the driver plugin version.") << text;
    }
    EXPECT_FALSE(fs::exists(folders.user));
}

TEST_F(DriverInstallationTest, InstallsReplacesAndLeavesAlone) {
    put(folders.builtInPlugIns / name, info("1.0"));
    EXPECT_EQ(errorOf(), "");
    const fs::path installed = folders.user / name;
    EXPECT_EQ(programIn(installed), "run " + info("1.0"));

    writeWholeFile(installed / "program", "mine");
    EXPECT_EQ(errorOf(), "");
    EXPECT_EQ(programIn(installed), "mine") << "of equal version no file is touched";

    put(folders.builtInPlugIns / name, info("1.1"));
    EXPECT_EQ(errorOf(), "");
    EXPECT_EQ(programIn(installed), "run " + info("1.1"));
}

TEST_F(DriverInstallationTest, FindsADriverUnderAnyNameInTheFirstFolderThatHasOne) {
    put(folders.builtInPlugIns / name, info("2"));
    put(root / "local" / "A.plugin", R"({"identifier": "somebody.else", "version": "2"})");
    put(root / "local" / "B.plugin", info("2"));
    put(folders.user / name, info("1"));
    EXPECT_EQ(errorOf(), "");
    EXPECT_EQ(programIn(folders.user / name), "run " + info("1")) << "the machine's own comes first";

    put(root / "system" / "C.plugin", info("0"));
    fs::remove_all(folders.user);
    EXPECT_EQ(errorOf(), "");
    EXPECT_FALSE(fs::exists(root / "system" / "C.plugin"));
    EXPECT_TRUE(fs::exists(folders.user / name));
}

TEST_F(DriverInstallationTest, TellsWhatIsWrongWithTheUsersFolder) {
    put(folders.builtInPlugIns / name, info("1"));
    writeWholeFile(folders.user, "a file in the folder's place");
    EXPECT_EQ(errorOf(), "Could not build a URL for the MIDI Drivers folder.");
    fs::remove(folders.user);
    put(folders.user / name, R"({"identifier": "somebody.else", "version": "1"})");
    EXPECT_EQ(errorOf(), "Could not build a destination URL inside the user's MIDI Drivers folder.");
    EXPECT_TRUE(fs::exists(folders.user / name / "program"));
}

}  // namespace
}  // namespace varnolex
