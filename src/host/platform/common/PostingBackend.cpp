#include "PostingBackend.h"

#include <cmath>
#include <utility>
#include <vector>

#include <linux/input-event-codes.h>

#include <QTimer>

#include "platform/common/ClipboardTextRoute.h"
#include "platform/common/TypedCodePoint.h"
#include "platform/evdev/MacKeyTable.h"
#include "protocol/Unicode.h"

namespace quillvane {

// Until the derived backend has opened its way of posting.
PostingBackend::PostingBackend() : m_reason("输入后端尚未打开") {}

PostingBackend::~PostingBackend() = default;

void PostingBackend::setAvailable(PasteClipboard* clipboard) {
    m_held.clear();
    m_route.reset();
    if (clipboard)
        m_route = std::make_unique<ClipboardTextRoute>(*clipboard, [this] { pressPaste(); }, [this] {
            // The clipboard may refuse from inside the call that gave the text.
            QTimer::singleShot(0, &m_context, [this] { notifyTextLost(); });
        });
    m_reason.clear();
    notifyRestored();
}

void PostingBackend::lose(std::string reason) {
    const bool couldPost = canPost();
    m_reason = std::move(reason);
    if (!couldPost)
        return;
    m_held.clear();
    discardHeldText();
    QTimer::singleShot(0, &m_context, [this] {
        // The route's clipboard went with the connection; what waited behind a paste is gone.
        m_route.reset();
        notifyLost();
    });
}

void PostingBackend::letGo() {
    if (!canPost())
        return;
    typeHeldText();
    // Events still waiting behind a paste are posted first, then the user's clipboard restored.
    m_route.reset();
    for (const std::uint32_t code : std::set<std::uint32_t>(m_held))
        press(code, false);
    send();
}

void PostingBackend::press(std::uint32_t code, bool down) {
    if (down == m_held.contains(code) || !canPost())
        return;
    if (code >= BTN_MISC && code < KEY_OK)
        postButton(code, down);
    else
        postKey(code, down);
    if (down)
        m_held.insert(code);
    else
        m_held.erase(code);
}

void PostingBackend::post(std::function<void()> event) {
    typeHeldText();
    auto guarded = [this, event = std::move(event)] {
        if (canPost())
            event();
    };
    if (m_route)
        m_route->post(std::move(guarded));
    else
        guarded();
}

void PostingBackend::moveBy(TrackpadVector delta) {
    if (canPost() && std::isfinite(delta.x) && std::isfinite(delta.y) &&
        (delta.x != 0 || delta.y != 0))
        post([this, delta] { postMotion(delta); });
}

// The position is the controller's reckoning; the button goes down where the pointer is.
void PostingBackend::mouse(const MouseEvent& event) {
    std::uint32_t button = BTN_LEFT;
    switch (event.type) {
    case MouseEventType::moved:
    case MouseEventType::leftDragged:
        return;
    case MouseEventType::leftDown:
    case MouseEventType::leftUp:
        break;
    case MouseEventType::rightDown:
    case MouseEventType::rightUp:
        button = BTN_RIGHT;
        break;
    }
    const bool down = event.type == MouseEventType::leftDown ||
                      event.type == MouseEventType::rightDown;
    if (canPost())
        post([this, button, down] { press(button, down); });
}

void PostingBackend::scroll(const ScrollEvent& event) {
    if (canPost())
        post([this, event] { postScroll(event); });
}

void PostingBackend::key(std::uint16_t macKeyCode, bool down) {
    if (!canPost())
        return;
    if (const auto evdev = evdevKeyForMacKey(macKeyCode))
        post([this, code = std::uint32_t(*evdev), down] { press(code, down); });
}

bool PostingBackend::canType(char32_t codePoint) {
    const LayoutKeys* keys = layout();
    return keys && keys->strokeFor(codePoint);
}

void PostingBackend::type(char32_t codePoint) {
    if (const LayoutKeys* keys = layout())
        if (const auto stroke = keys->strokeFor(codePoint))
            typeStroke(*stroke);
}

void PostingBackend::typeStroke(const KeyStroke& stroke) {
    std::vector<std::uint16_t> pressed;
    for (const std::uint16_t modifier : stroke.modifiers)
        if (!isHeld(modifier))
            pressed.push_back(modifier);
    for (const std::uint16_t modifier : pressed)
        press(modifier, true);
    press(stroke.key, true);
    press(stroke.key, false);
    for (auto modifier = pressed.rbegin(); modifier != pressed.rend(); ++modifier)
        press(*modifier, false);
}

// Ctrl with the key that types "v" in this layout: programs match the shortcut by its character.
void PostingBackend::pressPaste() {
    const LayoutKeys* keys = layout();
    const auto v = keys ? keys->strokeFor(U'v') : std::nullopt;
    typeStroke({{KEY_LEFTCTRL}, v ? v->key : std::uint16_t{KEY_V}});
    send();
}

// A character is typed when the desktop has a key for it, pasted when it is printable and the
// clipboard can be set, and refused whole otherwise. CR LF is one line break.
bool PostingBackend::text(std::string_view character) {
    if (!canPost() || !isValidUtf8(character))
        return false;
    struct Part {
        TypedCodePoint point;
        bool typed;
    };
    std::vector<Part> parts;
    for (const TypedCodePoint& point : TypedCodePoint::of(character)) {
        const bool typed = canType(point.codePoint);
        if (!typed && (!m_route || point.codePoint < 0x20 || point.codePoint == 0x7f))
            return false;
        parts.push_back({point, typed});
    }
    for (const Part& part : parts) {
        if (!part.typed)
            m_route->paste(part.point.bytes);
        else if (m_route)
            m_route->post([this, codePoint = part.point.codePoint] {
                if (canPost())
                    type(codePoint);
            });
        else
            type(part.point.codePoint);
    }
    return true;
}

void PostingBackend::flush() {
    if (!canPost())
        return;
    typeHeldText();
    if (m_route)
        m_route->flush();
    send();
}

void PostingBackend::discardPendingText() {
    discardHeldText();
    if (m_route)
        m_route->discardPendingText();
}

} // namespace quillvane
