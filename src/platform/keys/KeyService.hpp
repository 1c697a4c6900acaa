#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/concurrency/Published.hpp"
#include "platform/keys/KeyCodes.hpp"

namespace varnolex {

/// A key of the computer's keyboard has gone down or up, whatever window it was meant for.
struct KeyEvent {
    KeyCode keyCode = 0;
    bool isDown = false;
    /// The modifiers that were held.
    std::uint64_t modifierFlags = 0;

    bool operator==(const KeyEvent&) const = default;
};

/// Runs on the service's own thread, one call at a time. It should hold its owner weakly: a call may be under way when
/// listening has ended.
using KeyListener = std::function<void(const KeyEvent&)>;

/// Listens as long as it lives. It ends before the service, on the main thread and outside of any walk.
class KeyTap {
public:
    virtual ~KeyTap() = default;
};

/// The computer's keyboard, for all windows: hears its keys and plays them. What is posted here isn't heard here.
/// Main thread.
class KeyService {
public:
    KeyService() = default;
    virtual ~KeyService() = default;
    KeyService(const KeyService&) = delete;
    KeyService& operator=(const KeyService&) = delete;

    /// The service of this process, as installed by the innermost living `KeyServiceScope`; null when there is none.
    /// Any thread.
    static KeyService* shared();

    /// Whether this session lets a program hear the keys of others.
    virtual bool mayListen() = 0;

    /// Asks for that, or tells the user why it can't be had.
    virtual void requestAccess() = 0;

    /// Null when the system refuses.
    std::unique_ptr<KeyTap> listen(KeyListener listener);

    /// Presses or releases a key for whatever window has the focus. `modifierFlags` are held while it goes down, and no
    /// other modifier is. False when there is no such key, or no such thing on this system.
    virtual bool post(const KeyEvent& key) = 0;

    /// A line for whoever looks into a fault.
    virtual void note(std::string_view line) = 0;

protected:
    /// The first listener has come. False when the system refuses.
    virtual bool startListening() = 0;
    /// The last one has gone.
    virtual void stopListening() = 0;

    /// On the service's thread.
    void deliver(const KeyEvent& event) const;

private:
    class Tap;
    using Listeners = std::vector<std::shared_ptr<const KeyListener>>;

    void publish();

    std::list<std::shared_ptr<const KeyListener>> listeners;
    Published<Listeners> published;
};

/// Makes a service the current one for as long as the scope lives, and the former one current again after it.
/// Scopes nest, and belong to the thread that starts and ends the session.
class KeyServiceScope {
public:
    explicit KeyServiceScope(KeyService& service);
    ~KeyServiceScope();
    KeyServiceScope(const KeyServiceScope&) = delete;
    KeyServiceScope& operator=(const KeyServiceScope&) = delete;

private:
    KeyService* former;
};

}  // namespace varnolex
