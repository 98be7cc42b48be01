#pragma once

#include <cstdint>
#include <vector>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

namespace quillvane {

// Types any keysym, whatever the keyboard layout, by lending it a key code that the layout leaves
// empty: the keysym is mapped on the borrowed code, the code pressed and released, and the empty
// key given back later by restore().
//
// The mapping has to outlive the key event for a while. A client learns of a mapping change
// through a notification and reads the new keysyms from the server only when it handles that
// notification or translates the key, which is after the events were posted; a mapping taken back
// at once leaves it reading an empty key. So codes are lent for a burst of typing and given back
// when it is over, and a burst spreads its characters over every spare code (reusing the code
// that already holds a keysym, otherwise the one left longest ago) so that a client that
// translates late still finds each recent character where it was typed.
//
// Needs the XKB extension, which every current X server has; without it nothing is typed.
class SpareKeyTyper {
public:
    // `reserved`: key codes never to borrow even when the layout leaves them empty (the backend
    // presses them by position).
    SpareKeyTyper(Display* display, std::vector<KeyCode> reserved);
    ~SpareKeyTyper();

    SpareKeyTyper(const SpareKeyTyper&) = delete;
    SpareKeyTyper& operator=(const SpareKeyTyper&) = delete;

    // Presses and releases the keysym. Does nothing when the layout leaves no code empty.
    void type(KeySym keysym);
    // Whether `keysym` can be typed without taking back a code lent within the current batch, whose
    // key events clients may not have translated yet.
    bool canTypeNow(KeySym keysym);
    // Starts a new batch: codes used before it may be lent again.
    void beginBatch() { m_batchStart = m_uses; }

    // Whether codes are lent out, so restore() has work to do.
    bool isBorrowing() const { return !m_slots.empty(); }

    // Gives every borrowed code its empty key back, except codes that someone else mapped
    // meanwhile (a layout switch, say), which keep what they were given.
    void restore();

private:
    struct Slot {
        KeyCode code = 0;
        KeySym keysym = NoSymbol;
        std::uint64_t lastUse = 0;
    };

    void findSpareCodes();
    Slot* slotFor(KeySym keysym);
    void setKey(KeyCode code, KeySym keysym);

    Display* m_display;
    std::vector<KeyCode> m_reserved;
    // The keymap as read at the start of the burst, edited locally and sent key by key.
    XkbDescPtr m_keymap = nullptr;
    // Spare codes of the current burst; empty between bursts, when the layout may change.
    std::vector<Slot> m_slots;
    std::uint64_t m_uses = 0;
    std::uint64_t m_batchStart = 0;
};

} // namespace quillvane
