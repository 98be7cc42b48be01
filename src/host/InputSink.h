#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "protocol/WireMessage.h"
#include "voice/VoiceShortcutMode.h"

namespace quillvane {

// What the host session asks of input injection: typed calls with the values taken from the
// controller's messages. Implementations keep the rules' state (held buttons, scroll phase, click
// counting) and post through a platform backend. Calls that can fail throw PadError with the text
// the controller is shown.
class InputSink {
public:
    virtual ~InputSink() = default;

    // Whether events can be posted at all in this session, and when not, why, in a sentence the
    // user can act on.
    virtual bool permitted() const = 0;
    virtual std::string unavailableReason() const { return {}; }
    // Called from the event loop when permitted() changes by itself: the desktop took the way of
    // posting away (everything held was let go), or gave it back.
    virtual void setAvailabilityHandler(std::function<void()>) {}
    // Called from the event loop when something a call took could not be done after all (a text
    // the clipboard refused), with the text the controller is shown.
    virtual void setLateFailureHandler(std::function<void(const std::string& reason)>) {}

    virtual void move(const std::vector<TrackpadVector>& samples) = 0;
    virtual void scroll(double x, double y, std::optional<TrackpadScrollPhase> phase) = 0;
    virtual void endScroll() = 0;
    virtual void click(bool right, std::optional<bool> continuingClick) = 0;
    virtual void setDrag(bool held, bool continuingClick) = 0;
    virtual void key(std::uint16_t code, std::uint64_t modifiers) = 0;
    virtual void type(const std::string& text) = 0;

    virtual void beginShortcut(std::int64_t code, std::uint64_t modifiers,
                               VoiceShortcutMode mode) = 0;
    virtual void releaseShortcut() = 0;

    // Lets go of every key, button and shortcut held; never fails.
    virtual void releaseAll() = 0;
};

} // namespace quillvane
