#include "PointerGuideHistory.h"

namespace quillvane {

std::string PointerGuideHistory::seenKey(PointerGuideMode mode) {
    std::string key = "pointerGuide.seen.";
    key.append(rawValue(mode));
    return key;
}

bool PointerGuideHistory::hasSeen(PointerGuideMode mode) const {
    return m_defaults.boolValue(seenKey(mode)).value_or(false);
}

void PointerGuideHistory::markSeen(PointerGuideMode mode) {
    m_defaults.setBool(seenKey(mode), true);
}

} // namespace quillvane
