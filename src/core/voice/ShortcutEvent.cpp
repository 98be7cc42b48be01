#include "voice/ShortcutEvent.h"

#include "voice/ShortcutModifier.h"

namespace quillvane {

bool ShortcutEvent::keyDown() const {
    switch (kind) {
    case Kind::keyDown:
        return true;
    case Kind::keyUp:
        return false;
    case Kind::flagsChanged:
        break;
    }
    for (const ShortcutModifier& modifier : shortcutModifiers) {
        if (modifier.keyCode != code)
            continue;
        // The side bit tells the left key apart; Fn has none, so its own flag decides.
        const std::uint64_t bit = modifier.sideBit != 0 ? modifier.sideBit : modifier.flag;
        return (flags & bit) != 0;
    }
    return false;
}

} // namespace quillvane
