#include "InputController.h"

#include <chrono>
#include <cmath>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <variant>

#include <QLoggingCategory>

#include "pointer/PointerPath.h"
#include "pointer/TrackpadMoveBatch.h"
#include "protocol/PadError.h"
#include "protocol/Unicode.h"
#include "voice/ShortcutModifier.h"
#include "voice/VoiceShortcutRoute.h"

namespace quillvane {
namespace {
Q_LOGGING_CATEGORY(lcShortcut, "app.quillvane.Shortcut", QtInfoMsg)
Q_LOGGING_CATEGORY(lcInput, "app.quillvane.Input", QtInfoMsg)

constexpr std::uint64_t fnFlag = 0x800000;
constexpr std::uint64_t controlFlag = 0x40000;
constexpr std::uint64_t commandFlag = 0x100000;
constexpr std::uint16_t rightCommandKey = 54, commandKey = 55;

const char* kindName(ShortcutEvent::Kind kind) {
    switch (kind) {
    case ShortcutEvent::Kind::keyDown:
        return "keyDown";
    case ShortcutEvent::Kind::keyUp:
        return "keyUp";
    case ShortcutEvent::Kind::flagsChanged:
        return "flagsChanged";
    }
    return "unknown";
}

const char* boolName(bool value) {
    return value ? "true" : "false";
}
} // namespace

InputController::InputController(InputBackend& backend, Uptime uptime,
                                 DoubleClickInterval doubleClickInterval, Pause pause)
    : m_backend(backend), m_uptime(std::move(uptime)),
      m_doubleClickInterval(std::move(doubleClickInterval)), m_pause(std::move(pause)) {
    m_backend.setLostHandler([this] {
        qCWarning(lcInput, "Input backend %s lost (%s); letting go of everything held",
                  std::string(m_backend.name()).c_str(), m_backend.unavailableReason().c_str());
        releaseAll();
        if (m_availabilityChanged)
            m_availabilityChanged();
    });
    m_backend.setTextLostHandler([this] {
        if (m_lateFailure)
            m_lateFailure("剪贴板不可用，文字未能输入");
    });
    m_backend.setRestoredHandler([this] {
        qCInfo(lcInput, "Input backend %s posts again", std::string(m_backend.name()).c_str());
        if (m_availabilityChanged)
            m_availabilityChanged();
    });
}

InputController::~InputController() {
    m_backend.setLostHandler({});
    m_backend.setRestoredHandler({});
    m_backend.setTextLostHandler({});
}

void InputController::sleepFor(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

bool InputController::permitted() const {
    return m_backend.canPost();
}

std::string InputController::unavailableReason() const {
    return m_backend.canPost() ? std::string() : m_backend.unavailableReason();
}

void InputController::setLateFailureHandler(std::function<void(const std::string&)> handler) {
    m_lateFailure = std::move(handler);
}

void InputController::setAvailabilityHandler(std::function<void()> handler) {
    m_availabilityChanged = std::move(handler);
}

TrackpadVector InputController::resolvedPosition() {
    if (m_backend.movesRelatively())
        return m_reckoned;
    const TrackpadVector observed = m_backend.pointerLocation().value_or(TrackpadVector{0, 0});
    return m_pointerPosition.resolve(observed, m_uptime());
}

void InputController::post(const MouseEvent& event) {
    m_backend.mouse(event);
    m_backend.flush();
}

// One event per call however many samples arrive: the phone batches up to 64 of them, and the
// intermediate positions only shape the clamped path and the double-click tolerance.
// Where the backend moves the pointer by motion, the path is reckoned unclamped from where the
// last one ended (the desktop clamps the real pointer), and only its sum is posted: the pointer
// moves on from wherever it is, the user's own mouse included.
void InputController::move(const std::vector<TrackpadVector>& samples) {
    if (!permitted() || !TrackpadMoveBatch::isValidBatch(samples))
        throw PadError::invalid("无效移动事件或缺少辅助功能权限");
    const bool relative = m_backend.movesRelatively();
    const std::vector<DisplayRect> screens = relative ? std::vector<DisplayRect>{}
                                                      : m_backend.displays();
    const TrackpadVector start = resolvedPosition();
    const auto positions = PointerPath::positions(start, samples, screens);
    for (const auto& position : positions)
        m_clickOutput.moved(position);

    const TrackpadVector last = positions.back();
    std::optional<MouseEvent> event;
    if (m_dragging)
        event = m_clickOutput.dragged(last);
    else
        event = MouseEvent{MouseEventType::moved, last, 0};
    if (!event)
        return;
    if (relative) {
        m_reckoned = last;
        m_backend.moveBy({last.x - start.x, last.y - start.y});
        m_backend.flush();
        return;
    }
    m_pointerPosition.record(last);
    post(*event);
}

void InputController::scroll(double x, double y, std::optional<TrackpadScrollPhase> phase) {
    // A missing permission reads as an invalid scroll on purpose: the phone shows one text.
    if (!permitted() || !TrackpadMoveBatch::isValidDelta(x, y))
        throw PadError::invalid("无效滚动事件");
    m_clickOutput.reset();
    const auto event = m_scrollOutput.event(x, y, phase);
    if (!event)
        return;
    m_backend.scroll(*event);
    m_backend.flush();
}

void InputController::endScroll() {
    // The scroll state closes even when nothing can be posted.
    const auto event = m_scrollOutput.close();
    if (!event || !permitted())
        return;
    m_backend.scroll(*event);
    m_backend.flush();
}

void InputController::click(bool right, std::optional<bool> continuingClick) {
    if (!permitted())
        throw PadError::invalid("请授予辅助功能权限");
    if (m_dragging) {
        // Tapping while dragging lets the button go; it is not a click of its own.
        setDrag(false, false);
        return;
    }
    const TrackpadVector at = resolvedPosition();
    const auto events =
        m_clickOutput.events(right, continuingClick, at, m_uptime(), m_doubleClickInterval());
    if (events.size() != 2)
        throw PadError::invalid("无法创建点击事件");
    m_backend.mouse(events[0]);
    m_backend.mouse(events[1]);
    m_backend.flush();
}

void InputController::setDrag(bool held, bool continuingClick) {
    if (held == m_dragging)
        return;
    std::optional<MouseEvent> event;
    if (held) {
        // The host session checks the permission itself; refusing here stays silent.
        if (!permitted())
            return;
        const TrackpadVector at = resolvedPosition();
        event = m_clickOutput.beginDrag(at, continuingClick, m_uptime(), m_doubleClickInterval());
    } else {
        // Releasing is never refused: a held button must always be let go.
        event = m_clickOutput.endDrag(resolvedPosition());
    }
    if (!event)
        return;
    m_dragging = held;
    post(*event);
}

// A PC keyboard has no modifier flags of its own, only modifier keys: each flag is pressed as its
// key around the key itself and released right after, so nothing stays held. The Fn flag is left
// out: a Mac stamps it on arrow, function and navigation keys by itself, and a PC keyboard's Fn is
// resolved in its firmware and never reaches the system, so there is no key to press for it. A key
// that is itself one of the modifiers is pressed once, not twice.
void InputController::key(std::uint16_t code, std::uint64_t modifiers) {
    if (!permitted() || code > highestKeyCode)
        throw PadError::invalid("键盘控制需要辅助功能权限");
    m_clickOutput.reset();
    std::uint64_t flags = modifiers & allowedFlags;
    // The controller's shortcuts are written for a Mac, where Command copies, pastes and undoes;
    // on this desktop Control does, so a Command shortcut is posted with Control. The Command
    // key sent as a key of its own stays the Super key.
    if ((flags & commandFlag) && code != commandKey && code != rightCommandKey)
        flags = (flags & ~commandFlag) | controlFlag;
    std::vector<std::uint16_t> held;
    for (const auto& modifier : shortcutModifiers) {
        if (modifier.flag == fnFlag || (flags & modifier.flag) == 0 || modifier.keyCode == code)
            continue;
        m_backend.key(modifier.keyCode, true);
        held.push_back(modifier.keyCode);
    }
    m_backend.key(code, true);
    m_backend.key(code, false);
    for (auto it = held.rbegin(); it != held.rend(); ++it)
        m_backend.key(*it, false);
    m_backend.flush();
}

void InputController::type(const std::string& text) {
    if (!permitted() || utf16Length(text) > maximumTextLength)
        throw PadError::invalid("文字过长或缺少辅助功能权限");
    m_clickOutput.reset();
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::string_view character = characterPrefix(rest, 1);
        if (utf16Length(character) > maximumCharacterLength) {
            // What was typed before the long character stays typed.
            if (rest.size() < text.size())
                m_backend.flush();
            throw PadError::invalid("单个组合字符过长");
        }
        if (!m_backend.text(character)) {
            if (rest.size() < text.size())
                m_backend.flush();
            qCWarning(lcInput, "Input backend %s cannot type a character of a text",
                      std::string(m_backend.name()).c_str());
            throw PadError::invalid("无法在这个桌面输入文字中的字符");
        }
        rest.remove_prefix(character.size());
    }
    if (!text.empty())
        m_backend.flush();
}

void InputController::beginShortcut(std::int64_t code, std::uint64_t modifiers,
                                    VoiceShortcutMode mode) {
    if (!permitted() || m_shortcutSession.isActive())
        throw PadError::invalid("请先授予辅助功能权限，并检查语音快捷键");
    m_clickOutput.reset();
    const VoiceShortcutAction action = m_shortcutSession.begin(code, modifiers, mode);
    // There is no posting to one process here, so the one input method that needed it is reached
    // like every other program, and its version is never looked up.
    qCInfo(lcShortcut, "Shortcut route=%s fenwixVersion=%s",
           std::string(toString(VoiceShortcutRoute::system)).c_str(), "unknown");
    perform(action);
}

void InputController::releaseShortcut() {
    const auto action = m_shortcutSession.end();
    if (action)
        perform(*action);
}

void InputController::perform(const VoiceShortcutAction& action) {
    std::visit(
        [this](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, ShortcutTap>) {
                postShortcut(value.down);
                m_pause(tapPause);
                postShortcut(value.up);
            } else {
                postShortcut(value.events);
            }
        },
        action);
}

// A modifier change is the press or release of that modifier's key; the flag word it carries is
// what the keys held so far add up to, which the server tracks by itself.
void InputController::postShortcut(const std::vector<ShortcutEvent>& events) {
    const bool allowed = permitted();
    for (const auto& event : events) {
        m_backend.key(event.code, event.keyDown());
        qCInfo(lcShortcut, "Shortcut event code=%u down=%s type=%s flags=%llu postAllowed=%s",
               unsigned(event.code), boolName(event.keyDown()), kindName(event.kind),
               static_cast<unsigned long long>(event.flags), boolName(allowed));
    }
    m_backend.flush();
}

void InputController::releaseAll() {
    // Letting go also means not typing on: the rest of a long text is dropped.
    m_backend.discardPendingText();
    m_clickOutput.reset();
    releaseShortcut();
    endScroll();
    setDrag(false, false);
    m_pointerPosition.reset();
    m_reckoned = {};
}

} // namespace quillvane
