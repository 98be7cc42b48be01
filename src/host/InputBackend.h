#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pointer/DisplayRect.h"
#include "pointer/MouseEvent.h"
#include "pointer/ScrollEvent.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// One way of posting input to the desktop (XTest, a compositor's virtual devices, uinput). A backend
// posts exactly what it is told: the rules that decide what to post, and the state of what is held
// down, live above it in InputController. Keys are named by the Mac virtual key codes the link
// carries (0-126, modifiers 54-63 included); the backend maps them to its own key codes.
class InputBackend {
public:
    virtual ~InputBackend() = default;

    virtual std::string_view name() const = 0;

    // Whether this backend can post events in this session. When false, why not, in a sentence
    // the user can act on.
    virtual bool canPost() const = 0;
    virtual std::string unavailableReason() const = 0;

    // The displays in global coordinates (points, origin top-left of the main display, y down).
    virtual std::vector<DisplayRect> displays() = 0;
    // The pointer's current location, when it can be read.
    virtual std::optional<TrackpadVector> pointerLocation() = 0;

    // Whether the pointer is moved by motion from wherever it is (moveBy), the desktop clamping
    // it, rather than to positions read back and clamped by the caller. Such a backend takes the
    // position of a mouse event as no more than the caller's reckoning: it posts the button alone.
    virtual bool movesRelatively() const { return false; }
    // Moves the pointer by `delta` from where it is, unaccelerated; a relative backend only.
    virtual void moveBy(TrackpadVector /*delta*/) {}

    virtual void mouse(const MouseEvent& event) = 0;
    // Pixel amounts; a backend with coarser units keeps the remainder itself.
    virtual void scroll(const ScrollEvent& event) = 0;
    virtual void key(std::uint16_t macKeyCode, bool down) = 0;
    // Types one user-perceived character (UTF-8) as it is, whatever the keyboard layout; false,
    // with nothing posted, when the backend has no way to type or paste it.
    virtual bool text(std::string_view character) = 0;

    // Hands everything posted so far to the system without waiting for it.
    virtual void flush() = 0;

    // Drops characters still waiting to be typed (a backend may type long texts in paced
    // batches); every other event already given is still posted, in order.
    virtual void discardPendingText() {}

    // Called when the backend loses its way of posting (the compositor or its bus name went
    // away). Whatever it had pressed is gone with its virtual devices, and a backend that
    // reconnects starts with nothing held. Called from the event loop, never from inside a call
    // to the backend.
    void setLostHandler(std::function<void()> handler) { m_lost = std::move(handler); }
    // Called when a backend that could not post can again (a new session once the compositor is
    // back); from the event loop as well.
    void setRestoredHandler(std::function<void()> handler) { m_restored = std::move(handler); }

    // Called when text that text() took could not be typed after all (the clipboard it was to be
    // pasted through refused it); from the event loop as well.
    void setTextLostHandler(std::function<void()> handler) { m_textLost = std::move(handler); }

protected:
    void notifyTextLost() {
        if (m_textLost)
            m_textLost();
    }
    void notifyLost() {
        if (m_lost)
            m_lost();
    }
    void notifyRestored() {
        if (m_restored)
            m_restored();
    }

private:
    std::function<void()> m_lost;
    std::function<void()> m_restored;
    std::function<void()> m_textLost;
};

} // namespace quillvane
