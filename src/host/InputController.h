#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "InputBackend.h"
#include "InputSink.h"
#include "pointer/MouseClickOutput.h"
#include "pointer/PointerPosition.h"
#include "pointer/TrackpadScrollOutput.h"
#include "voice/ShortcutEvent.h"
#include "voice/VoiceShortcutAction.h"
#include "voice/VoiceShortcutSession.h"

namespace quillvane {

// Turns the controller's validated commands into events on one input backend, and keeps what
// makes them coherent: the held drag, the scroll stage, click counting, the commanded pointer
// position and the held voice shortcut. Every key it presses is released before the call returns,
// except a hold-mode voice shortcut, which releaseShortcut() or releaseAll() lets go.
// When the backend loses its way of posting, everything is let go as by releaseAll(), so that
// nothing is believed held when it posts again. Single-threaded: call it from the host session's
// thread only.
class InputController final : public InputSink {
public:
    // Seconds of monotonic time; the desktop's double-click interval in seconds; a blocking pause
    // of the given seconds (injected so tests can replay a tap without waiting).
    using Uptime = std::function<double()>;
    using DoubleClickInterval = std::function<double()>;
    using Pause = std::function<void(double)>;

    // Modifier flags a key command may carry: Shift, Control, Option, Command and Fn.
    static constexpr std::uint64_t allowedFlags = 0x9E0000;
    static constexpr std::uint16_t highestKeyCode = 126;
    // UTF-16 units: the whole text, and one user-perceived character of it.
    static constexpr std::size_t maximumTextLength = 4096;
    static constexpr std::size_t maximumCharacterLength = 128;
    // Between the press and the release of a toggle-mode shortcut tap, so the dictation program
    // sees a deliberate tap rather than two events in the same instant.
    static constexpr double tapPause = 0.06;

    InputController(InputBackend& backend, Uptime uptime, DoubleClickInterval doubleClickInterval,
                    Pause pause = sleepFor);
    ~InputController() override;

    InputController(const InputController&) = delete;
    InputController& operator=(const InputController&) = delete;

    bool permitted() const override;
    std::string unavailableReason() const override;
    void setAvailabilityHandler(std::function<void()> handler) override;
    void setLateFailureHandler(std::function<void(const std::string&)> handler) override;

    void move(const std::vector<TrackpadVector>& samples) override;
    void scroll(double x, double y, std::optional<TrackpadScrollPhase> phase) override;
    void endScroll() override;
    void click(bool right, std::optional<bool> continuingClick) override;
    void setDrag(bool held, bool continuingClick) override;
    void key(std::uint16_t code, std::uint64_t modifiers) override;
    void type(const std::string& text) override;

    void beginShortcut(std::int64_t code, std::uint64_t modifiers, VoiceShortcutMode mode) override;
    void releaseShortcut() override;

    void releaseAll() override;

    bool dragging() const { return m_dragging; }
    bool shortcutActive() const { return m_shortcutSession.isActive(); }

    // Blocks the calling thread; the default pause.
    static void sleepFor(double seconds);

private:
    // Where new motion starts: the backend's pointer location, recognised against what was posted.
    TrackpadVector resolvedPosition();
    void perform(const VoiceShortcutAction& action);
    void postShortcut(const std::vector<ShortcutEvent>& events);
    void post(const MouseEvent& event);

    InputBackend& m_backend;
    Uptime m_uptime;
    DoubleClickInterval m_doubleClickInterval;
    Pause m_pause;

    VoiceShortcutSession m_shortcutSession;
    bool m_dragging = false;
    TrackpadScrollOutput m_scrollOutput;
    MouseClickOutput m_clickOutput;
    PointerPosition m_pointerPosition;
    // Where relative motion has taken the pointer by the controller's own reckoning: the
    // positions click counting compares, never posted.
    TrackpadVector m_reckoned;
    std::function<void()> m_availabilityChanged;
    std::function<void(const std::string&)> m_lateFailure;
};

} // namespace quillvane
