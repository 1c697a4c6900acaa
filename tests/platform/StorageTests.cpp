#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>

#include "platform/DebugLogFile.hpp"
#include "platform/DefaultsStore.hpp"
#include "platform/SupportFolder.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/VirtualRuntime.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {

namespace fs = std::filesystem;

namespace {

/// A folder of its own for each test, and the lines that are logged meanwhile.
class StorageTest : public testing::Test {
protected:
    StorageTest() {
        std::string pattern = (fs::temp_directory_path() / "varnolex-test-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        former = VarnolexLogger::shared().replaceSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~StorageTest() override {
        VarnolexLogger::shared().replaceSink(former);
        std::error_code error;
        fs::remove_all(folder, error);
    }

    static void put(const fs::path& path, std::string_view text) { std::ofstream(path, std::ios::binary) << text; }
    static std::string get(const fs::path& path) { return readWholeFile(path, 1 << 20); }
    std::size_t filesInFolder() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }

    static std::string faultOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const FileError& fault) {
            return fault.what();
        }
        return "";
    }

    fs::path folder;
    std::vector<std::string> lines;
    VarnolexLogger::Sink former;
};

}  // namespace

TEST_F(StorageTest, aFileIsReplacedWholeAndKeepsItsMode) {
    const fs::path file = folder / "a file";
    std::string bytes(300'000, '\0');
    for (std::size_t place = 0; place < bytes.size(); ++place) bytes[place] = static_cast<char>(place * 7);
    writeWholeFile(file, bytes);
    EXPECT_EQ(get(file), bytes);
    fs::permissions(file, fs::perms(0640));
    std::ifstream reader(file, std::ios::binary);
    writeWholeFile(file, "new");
    EXPECT_EQ(get(file), "new");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), bytes) << "who has the old one open keeps it";
    writeWholeFile(file, "");
    EXPECT_EQ(get(file), "");
    writeWholeFile(folder / std::string(255, 'n'), "long name");
    EXPECT_EQ(filesInFolder(), 2u);
}

TEST_F(StorageTest, aLinkStaysAndItsTargetIsWritten) {
    fs::create_directory(folder / "inner");
    put(folder / "inner" / "target", "old");
    fs::create_symlink("inner/target", folder / "second");
    fs::create_symlink("second", folder / "first");
    fs::create_symlink("inner/fresh", folder / "dangling");
    writeWholeFile(folder / "first", "through");
    writeWholeFile(folder / "dangling", "made");
    EXPECT_TRUE(fs::is_symlink(folder / "first") && fs::is_symlink(folder / "second"));
    EXPECT_TRUE(fs::is_symlink(folder / "dangling"));
    EXPECT_EQ(get(folder / "inner" / "target"), "through");
    EXPECT_EQ(get(folder / "inner" / "fresh"), "made");
    fs::create_symlink("loop", folder / "loop");
    EXPECT_NE(faultOf([&] { writeWholeFile(folder / "loop", "x"); }), "");
}

TEST_F(StorageTest, aWriteThatFailsNamesTheFileAndLeavesNothingBehind) {
    fs::create_directory(folder / "inner");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const auto writing = [&](const fs::path& path) { return faultOf([&] { writeWholeFile(path, "x"); }); };
    EXPECT_EQ(writing(folder / "inner"), (folder / "inner").string() + ": Is a directory");
    EXPECT_EQ(writing(folder / "pipe"), (folder / "pipe").string() + ": isn't a regular file");
    EXPECT_EQ(writing(folder / "none" / "file"), (folder / "none" / "file").string() + ": No such file or directory");
    EXPECT_NE(writing("/proc/varnolex"), "");
    EXPECT_EQ(filesInFolder(), 2u);
}

TEST_F(StorageTest, readingTellsWhyItFails) {
    put(folder / "ten", "0123456789");
    EXPECT_EQ(readWholeFile(folder / "ten", 10), "0123456789");
    EXPECT_EQ(faultOf([&] { readWholeFile(folder / "ten", 9); }),
              (folder / "ten").string() + ": is too large: more than 9 bytes");
    EXPECT_EQ(faultOf([&] { readWholeFile(folder, 9); }), folder.string() + ": Is a directory");
    EXPECT_NE(faultOf([] { readWholeFile("/dev/zero", 100'000); }), "") << "no size given, no end either";
    EXPECT_FALSE(readWholeFile("/proc/self/status", 1 << 20).empty()) << "its size is given as 0";
    try {
        readWholeFile(folder / "none", 9);
        FAIL();
    } catch (const FileError& fault) {
        EXPECT_TRUE(fault.isMissing());
        EXPECT_EQ(fault.what(), (folder / "none").string() + ": No such file or directory");
    }
}

TEST_F(StorageTest, defaultsOfEveryTypeSurviveASession) {
    const fs::path file = folder / "made on the way" / "defaults.json";
    constexpr auto highest = std::numeric_limits<std::int64_t>::max();
    {
        DefaultsStore store(file);
        EXPECT_FALSE(store.boolean("defaultToModular"));
        store.setBoolean("defaultToModular", true);
        store.setInteger("maxMessages", 1);
        store.setInteger("maxMessages", highest);
        store.setReal("zoom", 1.0);
        store.setReal("odd", std::numeric_limits<double>::quiet_NaN());
        store.setString("lastSavedFileURL", "/tmp/\xC3\xA4 \"b\"\n");
        store.setString("bad", "\xFF");
        store.setJSON("virtualPorts", R"([{"name":"A","id":-3}])");
        store.setInteger("gone", 1);
        store.remove("gone");
        store.remove("never there");
    }
    const DefaultsStore store(file);
    EXPECT_EQ(store.boolean("defaultToModular"), true);
    EXPECT_EQ(store.integer("maxMessages"), highest);
    EXPECT_EQ(store.real("zoom"), 1.0);
    EXPECT_FALSE(store.integer("zoom"));
    EXPECT_FALSE(store.real("odd"));
    EXPECT_EQ(store.string("lastSavedFileURL"), "/tmp/\xC3\xA4 \"b\"\n");
    EXPECT_EQ(store.string("bad"), "\xEF\xBF\xBD");
    EXPECT_EQ(store.json("virtualPorts"), R"([{"id":-3,"name":"A"}])");
    EXPECT_EQ(store.json("maxMessages"), std::to_string(highest));
    EXPECT_FALSE(store.string("maxMessages") || store.boolean("virtualPorts") || store.json("gone"));
    EXPECT_TRUE(lines.empty());
}

TEST_F(StorageTest, defaultsInMemoryTouchNoFile) {
    DefaultsStore store{fs::path()};
    store.setInteger("maxMessages", 5);
    EXPECT_EQ(store.integer("maxMessages"), 5);
    EXPECT_EQ(store.real("maxMessages"), 5.0);
    EXPECT_THROW(store.setJSON("ports", "[1,"), std::invalid_argument);
    EXPECT_THROW(store.setJSON("ports", std::string(100'000, '[')), std::invalid_argument);
    EXPECT_FALSE(store.json("ports"));
    EXPECT_TRUE(lines.empty());
}

TEST_F(StorageTest, aBrokenDefaultsFileIsKeptAsideAndReported) {
    const fs::path file = folder / "defaults.json";
    const std::string deep = std::string(1000, '[') + std::string(1000, ']');
    int number = 0;
    for (const std::string& broken : {std::string("{\"a\": 1"), std::string("[1]"), std::string(), deep}) {
        put(file, broken);
        DefaultsStore store(file);
        EXPECT_EQ(lines.size(), 1u);
        EXPECT_NE(lines.at(0).find(file.string() + ": "), std::string::npos) << lines.at(0);
        lines.clear();
        store.setInteger("a", 2);
        EXPECT_EQ(DefaultsStore(file).integer("a"), 2);
        const std::string suffix = ++number == 1 ? ".broken" : ".broken-" + std::to_string(number);
        EXPECT_EQ(get(file.string() + suffix), broken);
    }
    fs::remove(file);
    fs::create_directory(file);
    DefaultsStore store(file);
    store.setInteger("a", 3);
    EXPECT_EQ(store.integer("a"), 3);
    EXPECT_EQ(lines.size(), 1u) << "said once, and what is there stays";
    EXPECT_TRUE(fs::is_directory(file));
}

TEST_F(StorageTest, theSupportFolderIsMadeWhenAskedForAndItsFailureLogged) {
    SupportFolder support(folder / "share");
    EXPECT_FALSE(fs::exists(folder / "share"));
    EXPECT_EQ(support.path(), folder / "share" / "Varnolex");
    EXPECT_TRUE(fs::is_directory(folder / "share" / "Varnolex"));
    put(folder / "file", "");
    SupportFolder impossible(folder / "file");
    EXPECT_EQ(impossible.path(), folder / "file" / "Varnolex");
    EXPECT_EQ(lines, std::vector<std::string>{"Failed to create app support directory: Not a directory"});
}

TEST_F(StorageTest, userFoldersFollowTheEnvironmentUnlessItIsRelative) {
    setenv("XDG_CONFIG_HOME", "/somewhere/config", 1);
    setenv("XDG_DATA_HOME", "relative", 1);
    setenv("HOME", "/home/nobody", 1);
    EXPECT_EQ(DefaultsStore::userFile(), "/somewhere/config/varnolex/defaults.json");
    EXPECT_EQ(userDataFolder(), "/home/nobody/.local/share");
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(userConfigurationFolder(), "/home/nobody/.config");
    unsetenv("HOME");
    EXPECT_TRUE(homeFolder().is_absolute());
}

TEST_F(StorageTest, onlyErrorsAreLoggedUnlessLoggingIsEnabled) {
    VarnolexLogger& logger = VarnolexLogger::shared();
    logger.log("silent");
    logger.error("heard");
    logger.check(0, "MidiInTool.createInputPort");
    logger.check(-10830, "MidiInTool.createInputPort");
    logger.setEnabled(true);
    logger.log("noted");
    logger.setEnabled(false);
    EXPECT_EQ(lines, (std::vector<std::string>{"heard", "MidiInTool.createInputPort: status -10830", "noted"}));
}

TEST_F(StorageTest, aSessionsDebugLogBeginsAnewWithItsFirstLine) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    runtime.setCalendar(86'400);
    const fs::path file = folder / "debug.log";
    for (const std::string note : {"first", "second"}) {
        const DebugLogFile log(file);
        runtime.settle();
        EXPECT_EQ(fs::exists(file), note == "second") << "nothing was said yet";
        VarnolexLogger::shared().log(note);
        VarnolexLogger::shared().error("fault");
        runtime.settle();
        EXPECT_EQ(readWholeFile(file, 1000),
                  "=== Varnolex MIDI Debug Log — 1970-01-02 00:00:00 UTC ===\n" + note + "\nfault\n");
        VarnolexLogger::shared().log("last");
    }
    EXPECT_TRUE(readWholeFile(file, 1000).ends_with("fault\nlast\n"));
    // What lies there isn't ours to write to.
    fs::remove(file);
    fs::create_symlink(folder / "elsewhere", file);
    {
        const DebugLogFile log(file);
        VarnolexLogger::shared().log("lost");
    }
    EXPECT_FALSE(fs::exists(folder / "elsewhere"));
}

}  // namespace varnolex
