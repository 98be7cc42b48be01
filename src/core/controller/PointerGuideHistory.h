#pragma once

#include <string>

#include "controller/KeyValueStore.h"
#include "controller/PointerGuideMode.h"

namespace quillvane {

// Which pointer guides the user has already watched. The flags live in the settings store under
// "pointerGuide.seen.<mode>" and are never cleared, so each guide plays once per installation.
class PointerGuideHistory {
public:
    // `defaults` must outlive the history.
    explicit PointerGuideHistory(KeyValueStore& defaults) : m_defaults(defaults) {}

    bool hasSeen(PointerGuideMode mode) const;
    void markSeen(PointerGuideMode mode);

    static std::string seenKey(PointerGuideMode mode);

private:
    KeyValueStore& m_defaults;
};

} // namespace quillvane
