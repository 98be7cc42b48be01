#include "voice/VirtualMicrophonePolicy.h"

#include <algorithm>

namespace quillvane {

std::string VirtualMicrophonePolicy::preferredUID(const std::optional<std::string>& saved,
                                                  const std::vector<std::string>& available) {
    if (saved)
        return *saved;
    if (std::find(available.begin(), available.end(), uid) != available.end())
        return std::string(uid);
    return {};
}

} // namespace quillvane
