#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "platform/VarnolexLogger.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/keys/X11Keys.hpp"
#include "support/DisplayServer.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr KeyCode keyA = 0;
constexpr KeyCode keyZ = 6;
constexpr KeyCode keyLeft = 123;
constexpr KeyCode keyShift = 56;

bool eventually(const std::function<bool()>& isSo) {
    for (int attempt = 0; attempt < 500; ++attempt, pause(10))
        if (isSo()) return true;
    return false;
}

TEST(KeyCodes, haveAnXNameEach) {
    EXPECT_EQ(keyCodeOfXName("AB01"), keyZ);
    EXPECT_EQ(keyCodeOfXName("LMTA"), keyCodeOfXName("LWIN"));
    EXPECT_EQ(keyCodeOfXName("I255"), std::nullopt);
}

TEST(X11KeysAbsence, isToldOnceAndLeavesEverythingElseAlone) {
    struct Row {
        X11Keys::Options options;
        std::string reason;
    };
    const std::vector<Row> rows{
        {{"", false, ""}, "there is no X display"},
        {{"", true, ""}, "Wayland keeps them from all programs"},
        {{":65000", true, ""}, "\":65000\" doesn't answer"},
    };
    for (const Row& row : rows) {
        std::vector<std::string> said;
        auto former = VarnolexLogger::shared().replaceSink([&](std::string_view line) { said.emplace_back(line); });
        X11Keys keys(row.options);
        EXPECT_FALSE(keys.mayListen());
        EXPECT_EQ(keys.listen([](const KeyEvent&) {}), nullptr);
        keys.requestAccess();
        EXPECT_FALSE(keys.post({keyA, true, 0}));
        EXPECT_FALSE(keys.post({keyA, true, 0}));
        keys.requestAccess();
        VarnolexLogger::shared().replaceSink(std::move(former));
        EXPECT_THAT(said, ElementsAre(HasSubstr("out of reach: "))) << row.reason;
        EXPECT_THAT(said.front(), HasSubstr(row.reason));
    }
}

/// The keys of a display of the test's own, among programs that know nothing of us.
class X11KeysTest : public testing::Test {
protected:
    void SetUp() override {
        if (!DisplayServer::isInstalled()) GTEST_SKIP() << "Xvfb, xdotool and xev aren't all installed";
        std::string pattern = (std::filesystem::temp_directory_path() / "varnolex-keys-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        display = std::make_unique<DisplayServer>(folder);
        // A display of its own inside a Wayland session hears its own keyboard.
        keys = std::make_unique<X11Keys>(X11Keys::Options{display->name(), true, folder + "/notes"});
    }
    void TearDown() override {
        tap.reset();
        keys.reset();
        display.reset();
        if (!folder.empty()) std::filesystem::remove_all(folder);
    }

    void listen() {
        ASSERT_TRUE(keys->mayListen()) << keys->reasonForAbsence();
        tap = keys->listen([this](const KeyEvent& event) { heard.with([&](auto& all) { all.push_back(event); }); });
        ASSERT_TRUE(tap);
    }
    std::vector<KeyEvent> takeHeard(std::size_t count) {
        EXPECT_TRUE(eventually([&] { return heard.get().size() >= count; })) << heard.get().size();
        return heard.take();
    }

    /// A window over the whole display, which has the keys.
    void startWindow() {
        window = display->start({"stdbuf", "-oL", "xev", "-geometry", "320x240+0+0", "-event", "keyboard"},
                                folder + "/window");
        // Only what is shown gets keys.
        display->type({"search", "--sync", "--onlyvisible", "--name", "Event Tester"});
    }
    /// "down state keycode" and "up ..." of what the window got.
    std::vector<std::string> windowKeys() const {
        std::vector<std::string> got;
        std::ifstream lines(folder + "/window");
        std::string kind;
        for (std::string line; std::getline(lines, line);) {
            if (line.find(" event, ") != std::string::npos) kind = line.substr(0, line.find(" event"));
            const auto state = line.find("state ");
            const auto end = line.find(" (keysym");
            if (state == std::string::npos || end == std::string::npos || kind.empty()) continue;
            got.push_back((kind == "KeyPress" ? "down " : "up ") + line.substr(state + 6, end - state - 6));
        }
        return got;
    }
    bool windowGets(const std::vector<std::string>& expected) const {
        return eventually([&] { return windowKeys() == expected; });
    }

    std::string folder;
    std::unique_ptr<DisplayServer> display;
    std::unique_ptr<X11Keys> keys;
    std::unique_ptr<ChildProcess> window;
    std::unique_ptr<KeyTap> tap;
    Guarded<std::vector<KeyEvent>> heard;
};

TEST_F(X11KeysTest, hearsWhatOthersTypeWithTheModifiersThatAreHeld) {
    listen();
    display->type({"keydown", "Shift_L", "key", "z", "keyup", "Shift_L", "key", "Left"});
    EXPECT_THAT(takeHeard(6), ElementsAre(KeyEvent{keyShift, true, keyFlagShift}, KeyEvent{keyZ, true, keyFlagShift},
                                          KeyEvent{keyZ, false, keyFlagShift}, KeyEvent{keyShift, false, 0},
                                          KeyEvent{keyLeft, true, 0}, KeyEvent{keyLeft, false, 0}));
    tap.reset();
    display->type({"key", "z"});
    listen();
    display->type({"key", "a"});
    EXPECT_THAT(takeHeard(2), ElementsAre(KeyEvent{keyA, true, 0}, KeyEvent{keyA, false, 0}));
}

TEST_F(X11KeysTest, postsWithItsOwnModifiersAndDoesNotHearItself) {
    startWindow();
    listen();
    EXPECT_TRUE(keys->post({keyA, true, keyFlagShift | keyFlagControl}));
    EXPECT_TRUE(keys->post({keyA, false, keyFlagShift | keyFlagControl}));
    EXPECT_FALSE(keys->post({0xFFFF, true, 0}));
    EXPECT_TRUE(windowGets({"down 0x0, keycode 50", "down 0x1, keycode 37", "down 0x5, keycode 38",
                            "up 0x5, keycode 37", "up 0x1, keycode 50", "up 0x0, keycode 38"}))
        << testing::PrintToString(windowKeys());
    display->type({"key", "a"});
    EXPECT_THAT(takeHeard(2), ElementsAre(KeyEvent{keyA, true, 0}, KeyEvent{keyA, false, 0}));

    // Somebody holds Shift: the key that is posted has none all the same.
    display->type({"keydown", "Shift_L"});
    keys->post({keyZ, true, 0});
    keys->post({keyZ, false, 0});
    EXPECT_TRUE(eventually([&] { return windowKeys().size() >= 13; }));
    EXPECT_THAT(windowKeys(), testing::Contains("down 0x0, keycode 52"));
    EXPECT_THAT(takeHeard(1), ElementsAre(KeyEvent{keyShift, true, keyFlagShift}));
}

TEST_F(X11KeysTest, leavesNoKeyDown) {
    startWindow();
    keys->post({keyZ, true, 0});
    keys.reset();
    EXPECT_TRUE(eventually([&] { return !windowKeys().empty() && windowKeys().back() == "up 0x0, keycode 52"; }));

    keys = std::make_unique<X11Keys>(X11Keys::Options{display->name(), false, ""});
    listen();
    display->type({"keydown", "z"});
    takeHeard(1);
    display->kill();
    EXPECT_THAT(takeHeard(1), ElementsAre(KeyEvent{keyZ, false, 0})) << "the display has gone";
    EXPECT_FALSE(keys->post({keyA, true, 0}));
}

TEST_F(X11KeysTest, keepsItsNotesToTheirOwner) {
    keys->note("one");
    keys->note("two");
    std::ifstream stream(folder + "/notes");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "one\ntwo\n");
    struct stat status {};
    ASSERT_EQ(stat((folder + "/notes").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    std::filesystem::create_symlink(folder + "/elsewhere", folder + "/link");
    X11Keys misled({"", false, folder + "/link"});
    misled.note("three");
    EXPECT_FALSE(std::filesystem::exists(folder + "/elsewhere"));
}

}  // namespace
}  // namespace varnolex
