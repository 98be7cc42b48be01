#include "SpareKeyTyper.h"

#include <algorithm>
#include <utility>

#include <X11/extensions/XTest.h>

namespace quillvane {
namespace {

bool isEmptyKey(XkbDescPtr keymap, int code) {
    if (keymap->server->c_explicit[code] != 0)
        return false;
    const KeySym* keysyms = XkbKeySymsPtr(keymap, code);
    return std::all_of(keysyms, keysyms + XkbKeyNumSyms(keymap, code),
                       [](KeySym keysym) { return keysym == NoSymbol; });
}

} // namespace

SpareKeyTyper::SpareKeyTyper(Display* display, std::vector<KeyCode> reserved)
    : m_display(display), m_reserved(std::move(reserved)) {}

SpareKeyTyper::~SpareKeyTyper() {
    if (m_keymap)
        XkbFreeKeyboard(m_keymap, 0, True);
}

void SpareKeyTyper::findSpareCodes() {
    if (m_keymap)
        XkbFreeKeyboard(m_keymap, 0, True);
    // The one round trip of a burst: the codes that are empty now, in the layout as it is now.
    m_keymap = XkbGetMap(m_display, XkbKeyTypesMask | XkbKeySymsMask | XkbExplicitComponentsMask,
                         XkbUseCoreKbd);
    if (!m_keymap || !m_keymap->map || !m_keymap->server)
        return;
    // From the top of the range down: low codes are the ones real keyboards send.
    for (int code = m_keymap->max_key_code; code >= m_keymap->min_key_code; --code) {
        const auto keyCode = static_cast<KeyCode>(code);
        if (isEmptyKey(m_keymap, code) &&
            std::find(m_reserved.begin(), m_reserved.end(), keyCode) == m_reserved.end())
            m_slots.push_back({keyCode, NoSymbol, 0});
    }
}

// Puts `keysym` on the key, or empties it for NoSymbol. The keysym goes on both levels of an
// alphabetic key with its type fixed: Shift and Caps Lock then select a level that holds the same
// keysym and count as used up, so no client turns a typed "a" into "A". On a key whose type the
// server derived itself, Caps Lock would still capitalise it.
void SpareKeyTyper::setKey(KeyCode code, KeySym keysym) {
    XkbMapChangesRec changes{};
    if (keysym == NoSymbol) {
        XkbChangeTypesOfKey(m_keymap, code, 0, XkbGroup1Mask, nullptr, nullptr);
        m_keymap->server->c_explicit[code] = 0;
    } else {
        int types[XkbNumKbdGroups] = {XkbAlphabeticIndex};
        if (XkbChangeTypesOfKey(m_keymap, code, 1, XkbGroup1Mask, types, nullptr) != Success)
            return;
        KeySym* keysyms = XkbKeySymsPtr(m_keymap, code);
        keysyms[0] = keysym;
        keysyms[1] = keysym;
        m_keymap->server->c_explicit[code] = XkbExplicitKeyType1Mask;
    }
    changes.changed = XkbKeySymsMask | XkbExplicitComponentsMask;
    changes.first_key_sym = code;
    changes.num_key_syms = 1;
    changes.first_key_explicit = code;
    changes.num_key_explicit = 1;
    XkbChangeMap(m_display, m_keymap, &changes);
}

SpareKeyTyper::Slot* SpareKeyTyper::slotFor(KeySym keysym) {
    if (m_slots.empty())
        findSpareCodes();
    if (m_slots.empty())
        return nullptr;
    const auto holding = std::find_if(m_slots.begin(), m_slots.end(),
                                      [keysym](const Slot& slot) { return slot.keysym == keysym; });
    if (holding != m_slots.end())
        return &*holding;
    Slot& oldest =
        *std::min_element(m_slots.begin(), m_slots.end(),
                          [](const Slot& a, const Slot& b) { return a.lastUse < b.lastUse; });
    setKey(oldest.code, keysym);
    oldest.keysym = keysym;
    return &oldest;
}

bool SpareKeyTyper::canTypeNow(KeySym keysym) {
    if (m_slots.empty())
        findSpareCodes();
    if (m_slots.empty())
        return true; // nothing to lend, so nothing to wait for: type() posts nothing
    return std::any_of(m_slots.begin(), m_slots.end(), [&](const Slot& slot) {
        return slot.keysym == keysym || slot.keysym == NoSymbol || slot.lastUse <= m_batchStart;
    });
}

void SpareKeyTyper::type(KeySym keysym) {
    Slot* slot = slotFor(keysym);
    if (!slot)
        return;
    XTestFakeKeyEvent(m_display, slot->code, True, CurrentTime);
    XTestFakeKeyEvent(m_display, slot->code, False, CurrentTime);
    slot->lastUse = ++m_uses;
}

void SpareKeyTyper::restore() {
    if (m_slots.empty())
        return;
    const auto [lowest, highest] =
        std::minmax_element(m_slots.begin(), m_slots.end(),
                            [](const Slot& a, const Slot& b) { return a.code < b.code; });
    const int first = lowest->code;
    int perCode = 0;
    KeySym* current = XGetKeyboardMapping(m_display, static_cast<KeyCode>(first),
                                          highest->code - first + 1, &perCode);
    for (const Slot& slot : m_slots) {
        const bool stillOurs =
            current && perCode > 0 && current[(slot.code - first) * perCode] == slot.keysym;
        if (slot.keysym != NoSymbol && stillOurs)
            setKey(slot.code, NoSymbol);
    }
    if (current)
        XFree(current);
    m_slots.clear();
}

} // namespace quillvane
