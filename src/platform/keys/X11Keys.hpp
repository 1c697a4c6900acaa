#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/keys/KeyService.hpp"

namespace varnolex {

class X11Display;

/// The keyboard of an X display: raw events of XInput 2 are heard, XTest plays. The display is asked for when it is
/// first needed, so that a session that has nothing to do with keys doesn't wait for it.
///
/// Under Wayland no program may hear or play the keys of others. The X display that is offered there hears those of a
/// few windows only, so it counts as none.
///
/// Keys that were posted down and never up are released when the service ends. When the display goes, keys that are
/// down are told to be up.
class X11Keys final : public KeyService {
public:
    struct Options {
        /// Such as ":0"; empty when the session has none.
        std::string display;
        bool isWayland = false;
        /// The file that takes the lines of `note`; empty for none.
        std::string noteFile;
    };

    static constexpr const char* waylandReason =
        "Wayland keeps them from all programs but the one in front; an X11 session doesn't";

    /// Those of the session, by its environment.
    static Options ofSession();

    explicit X11Keys(Options chosen);
    ~X11Keys() override;

    bool mayListen() override;
    void requestAccess() override;
    bool post(const KeyEvent& key) override;
    void note(std::string_view line) override;

    /// Why keys are neither heard nor posted, in one sentence; empty when they are.
    const std::string& reasonForAbsence() const { return reason; }

protected:
    bool startListening() override;
    void stopListening() override;

private:
    class Ear;
    class Hand;
    class OwnPosts;

    std::unique_ptr<X11Display> open();
    void sayAbsence();

    const Options options;
    std::string reason;
    bool hasSaidAbsence = false;
    const std::shared_ptr<OwnPosts> ownPosts;
    std::unique_ptr<Ear> ear;
    std::unique_ptr<Hand> hand;
};

}  // namespace varnolex
