#include "ConnectionResume.h"

#include <utility>

namespace quillvane {

bool ConnectionResume::takeResume() {
    return std::exchange(m_pending, false);
}

} // namespace quillvane
