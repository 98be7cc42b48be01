#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include <QObject>

#include "InputBackend.h"
#include "platform/xkb/LayoutKeys.h"

namespace quillvane {

class ClipboardTextRoute;
class PasteClipboard;

// What every backend that posts evdev codes to virtual devices shares (a compositor's virtual
// pointer and keyboard, KDE's fake input, GNOME's remote desktop, uinput): which keys and buttons
// are held, and that each is pressed once and always let go; the buttons a mouse event means;
// relative motion from wherever the pointer is; text typed as the layout's keys, the rest pasted
// with the layout's own paste key and nothing overtaking a paste; the reason it cannot post, and
// the loss notice told from the event loop. A backend derived from it posts what it is told.
//
// A derived backend calls setAvailable() once it can post, lose() when its way of posting went,
// and letGo() in its destructor while it can still post.
class PostingBackend : public InputBackend {
public:
    ~PostingBackend() override;

    bool canPost() const override { return m_reason.empty(); }
    std::string unavailableReason() const override { return m_reason; }

    std::optional<TrackpadVector> pointerLocation() override { return std::nullopt; }
    bool movesRelatively() const override { return true; }
    void moveBy(TrackpadVector delta) override;

    void mouse(const MouseEvent& event) override;
    void scroll(const ScrollEvent& event) override;
    void key(std::uint16_t macKeyCode, bool down) override;
    bool text(std::string_view character) override;
    void flush() override;
    void discardPendingText() override;

protected:
    PostingBackend();

    // The primitives: post exactly this, nothing held or remembered.
    virtual void postMotion(TrackpadVector delta) = 0;
    virtual void postButton(std::uint32_t code, bool down) = 0;
    virtual void postKey(std::uint32_t code, bool down) = 0;
    virtual void postScroll(const ScrollEvent& event) = 0;
    // Hands what was posted to the desktop without waiting.
    virtual void send() = 0;

    // The layout the desktop turns keys into characters with; nullptr when unknown.
    virtual const LayoutKeys* layout() = 0;
    // Whether, and how, a character the layout may lack is typed; the default types the layout's
    // stroke for it.
    virtual bool canType(char32_t codePoint);
    virtual void type(char32_t codePoint);
    // Types characters held back to go together (before any other event, and on flush).
    virtual void typeHeldText() {}
    virtual void discardHeldText() {}

    // Can post from now on (again), pasting through `clipboard` where there is one.
    void setAvailable(PasteClipboard* clipboard);
    // Cannot post, for `reason`. When it could, the way of posting went and took whatever it
    // held: the controller is told from the event loop, never from inside a call of its own.
    void lose(std::string reason);
    // Posts what waits behind a paste, lets go of every key and button held and sends it all.
    void letGo();

    // Presses or releases a key or button (evdev code) unless it already is.
    void press(std::uint32_t code, bool down);
    bool isHeld(std::uint32_t code) const { return m_held.contains(code); }
    // Posts `event` now, or behind the pastes still waiting.
    void post(std::function<void()> event);
    // Types `stroke`: modifiers held for it but not already held, the key, in reverse.
    void typeStroke(const KeyStroke& stroke);

private:
    void pressPaste();

    std::string m_reason;
    std::set<std::uint32_t> m_held;
    std::unique_ptr<ClipboardTextRoute> m_route;
    // Owns the deferred loss notice, which goes with the backend.
    QObject m_context;
};

} // namespace quillvane
