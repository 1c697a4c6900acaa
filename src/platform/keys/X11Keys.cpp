#include "platform/keys/X11Keys.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <array>
#include <cstdlib>
#include <utility>

#include "platform/DescriptorThread.hpp"
#include "platform/MonotonicTime.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/keys/X11Display.hpp"

namespace varnolex {
namespace {

using XKey = X11Display::XKey;

/// What was posted longer ago than this isn't on its way any more.
constexpr HostTime longestWay = 5 * ticksPerSecond;

/// A session that nobody looks into shouldn't fill the disk.
constexpr off_t longestNoteFile = 4 * 1024 * 1024;

std::string environmentText(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

}  // namespace

/// What we have posted and not heard yet.
class X11Keys::OwnPosts {
public:
    void expect(XKey key, bool isDown) {
        held.with([&](Expected& all) {
            Post& post = all[isDown][key];
            const HostTime now = monotonicTime();
            post = {now + longestWay, now <= post.until ? post.count + 1 : 1};
        });
    }

    /// Whether what was heard is ours.
    bool take(XKey key, bool isDown) {
        return held.with([&](Expected& all) {
            Post& post = all[isDown][key];
            if (post.count == 0 || monotonicTime() > post.until) return false;
            --post.count;
            return true;
        });
    }

    void forget() { held.set({}); }

private:
    struct Post {
        HostTime until = 0;
        std::uint32_t count = 0;
    };
    using Expected = std::array<std::array<Post, 256>, 2>;

    Guarded<Expected> held;
};

/// Hears the keys, on a thread of its own.
class X11Keys::Ear {
public:
    Ear(X11Keys& service, std::unique_ptr<X11Display> opened)
        : keys(service), display(std::move(opened)), down(display->keysDown()) {
        thread = std::make_unique<DescriptorThread>("varnolex-keys", xcb_get_file_descriptor(display->connection()),
                                                    std::make_shared<Bell>(),
                                                    DescriptorThread::Calls{[this] { return hear(); },
                                                                            [this] {
                                                                                hear();
                                                                                return DescriptorThread::never;
                                                                            }});
    }

    /// Asks for the events, ahead of the thread. False when the display refuses.
    static bool select(const X11Display& display) {
        struct {
            xcb_input_event_mask_t head{XCB_INPUT_DEVICE_ALL_MASTER, 1};
            std::uint32_t mask = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
        } wanted;
        const auto cookie = xcb_input_xi_select_events_checked(display.connection(), display.root(), 1, &wanted.head);
        xcb_generic_error_t* const error = xcb_request_check(display.connection(), cookie);
        std::free(error);
        return error == nullptr && display.isAlive();
    }

private:
    bool hear() {
        while (xcb_generic_event_t* const event = xcb_poll_for_event(display->connection())) {
            take(*event);
            std::free(event);
        }
        if (display->isAlive()) return true;
        releaseAll();
        return false;
    }

    void take(const xcb_generic_event_t& event) {
        if ((event.response_type & 0x7F) != XCB_GE_GENERIC) return;
        const auto& raw = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
        if (raw.extension != display->inputExtension() || raw.detail > 255) return;
        const bool isDown = raw.event_type == XCB_INPUT_RAW_KEY_PRESS;
        if (!isDown && raw.event_type != XCB_INPUT_RAW_KEY_RELEASE) return;
        const auto key = static_cast<XKey>(raw.detail);
        if (display->isTestKeyboard(raw.sourceid) && keys.ownPosts->take(key, isDown)) return;
        tell(key, isDown);
    }

    /// Raw events don't say which modifiers are held.
    void tell(XKey key, bool isDown) {
        // Some programs release twice, to be sure.
        if (!isDown && !down[key]) return;
        down[key] = isDown;
        if (const auto code = display->keyCodeOf(key)) keys.deliver({*code, isDown, display->flagsOf(down)});
    }

    void releaseAll() {
        for (std::size_t key = 0; key < down.size(); ++key)
            if (down[key]) tell(static_cast<XKey>(key), false);
    }

    X11Keys& keys;
    const std::unique_ptr<X11Display> display;
    X11Display::XKeys down;
    std::unique_ptr<DescriptorThread> thread;
};

/// Posts keys.
class X11Keys::Hand {
public:
    Hand(std::unique_ptr<X11Display> opened, std::shared_ptr<OwnPosts> posts)
        : display(std::move(opened)), ownPosts(std::move(posts)) {}
    ~Hand() {
        for (std::size_t key = 0; key < leftDown.size(); ++key)
            if (leftDown[key]) fake(static_cast<XKey>(key), false);
        // Answered when all of it has been done: what is closed before may be lost.
        display->keysDown();
    }

    bool isAlive() const { return display->isAlive(); }

    bool post(const KeyEvent& event) {
        const auto key = display->keyOf(event.keyCode);
        if (!key) return false;
        if (event.isDown)
            press(*key, event);
        else
            fake(*key, false);
        leftDown[*key] = event.isDown;
        xcb_flush(display->connection());
        return isAlive();
    }

private:
    struct Change {
        XKey key;
        bool isDown;
    };

    /// The modifiers are set to what the event says, and behind it to what they were.
    void press(XKey key, const KeyEvent& event) {
        const std::vector<Change> changes = modifierChanges(event);
        for (const Change& change : changes) fake(change.key, change.isDown);
        fake(key, true);
        for (auto change = changes.rbegin(); change != changes.rend(); ++change) fake(change->key, !change->isDown);
    }

    std::vector<Change> modifierChanges(const KeyEvent& event) const {
        const X11Display::XKeys down = display->keysDown();
        std::vector<Change> changes;
        for (const KeyModifier& modifier : keyModifiers()) {
            if (event.keyCode == modifier.left || event.keyCode == modifier.right) continue;
            const bool isWanted = (event.modifierFlags & modifier.flag) != 0;
            bool isHeld = false;
            for (const KeyCode code : {modifier.left, modifier.right}) {
                const auto key = display->keyOf(code);
                if (!key || !down[*key]) continue;
                isHeld = true;
                if (!isWanted) changes.push_back({*key, false});
            }
            if (const auto key = display->keyOf(modifier.left); isWanted && !isHeld && key)
                changes.push_back({*key, true});
        }
        return changes;
    }

    void fake(XKey key, bool isDown) {
        ownPosts->expect(key, isDown);
        xcb_test_fake_input(display->connection(), isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, key, XCB_CURRENT_TIME,
                            display->root(), 0, 0, 0);
    }

    const std::unique_ptr<X11Display> display;
    const std::shared_ptr<OwnPosts> ownPosts;
    /// What was posted down and not up.
    X11Display::XKeys leftDown;
};

X11Keys::Options X11Keys::ofSession() {
    return {environmentText("DISPLAY"), !environmentText("WAYLAND_DISPLAY").empty(), "/tmp/KeyboardInputTool.log"};
}

X11Keys::X11Keys(Options chosen) : options(std::move(chosen)), ownPosts(std::make_shared<OwnPosts>()) {}

X11Keys::~X11Keys() = default;

std::unique_ptr<X11Display> X11Keys::open() {
    reason.clear();
    if (!options.display.empty()) return X11Display::open(options.display, options.isWayland, reason);
    reason = options.isWayland ? waylandReason : "there is no X display";
    return nullptr;
}

bool X11Keys::mayListen() { return ear || open(); }

void X11Keys::requestAccess() { sayAbsence(); }

/// Nobody can be asked to grant what the display hasn't got, so the user is told, once.
void X11Keys::sayAbsence() {
    if (reason.empty() || std::exchange(hasSaidAbsence, true)) return;
    VarnolexLogger::shared().error("The keys of the computer's keyboard are out of reach: " + reason);
}

bool X11Keys::startListening() {
    auto display = open();
    ownPosts->forget();
    if (!display || !Ear::select(*display)) return false;
    ear = std::make_unique<Ear>(*this, std::move(display));
    return true;
}

void X11Keys::stopListening() { ear.reset(); }

bool X11Keys::post(const KeyEvent& key) {
    if (hand && !hand->isAlive()) hand.reset();
    if (!hand) {
        // One try is enough where there is no display: a trigger may come a thousand times a second.
        if (!reason.empty() && hasSaidAbsence) return false;
        auto display = open();
        if (!display) sayAbsence();
        if (!display) return false;
        hand = std::make_unique<Hand>(std::move(display), ownPosts);
    }
    return hand->post(key);
}

/// The folder is everybody's: a link that somebody else has put there isn't followed, and nobody else may read it.
void X11Keys::note(std::string_view line) {
    if (options.noteFile.empty()) return;
    const int file = ::open(options.noteFile.c_str(),
                            O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR);
    if (file < 0) return;
    struct stat status {};
    const std::string whole = std::string(line) + '\n';
    // What can't be written is gone: nobody waits for it.
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
        status.st_size < longestNoteFile) [[maybe_unused]]
        const auto written = ::write(file, whole.data(), whole.size());
    ::close(file);
}

}  // namespace varnolex
