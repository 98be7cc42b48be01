#include "voice/VoiceShortcutRoute.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <vector>

namespace quillvane {

namespace {

// The numeric components of a dotted version, or nothing when any piece is empty, has a
// character other than a decimal digit, or does not fit 64 bits.
std::optional<std::vector<std::uint64_t>> numericComponents(std::string_view version) {
    std::vector<std::uint64_t> components;
    while (true) {
        const std::size_t dot = version.find('.');
        const std::string_view piece = version.substr(0, dot);
        std::uint64_t value = 0;
        const char* end = piece.data() + piece.size();
        // from_chars reads no sign and no empty text, so a piece passes only if it is all digits.
        const auto [stop, error] = std::from_chars(piece.data(), end, value);
        if (error != std::errc() || stop != end)
            return std::nullopt;
        components.push_back(value);
        if (dot == std::string_view::npos)
            return components;
        version.remove_prefix(dot + 1);
    }
}

// Missing trailing components count as zero, so "1.0" is lower than "1.0.1" and "1.0.1.0" equal.
bool isLower(const std::vector<std::uint64_t>& left, const std::vector<std::uint64_t>& right) {
    const std::size_t count = std::max(left.size(), right.size());
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t a = i < left.size() ? left[i] : 0;
        const std::uint64_t b = i < right.size() ? right[i] : 0;
        if (a != b)
            return a < b;
    }
    return false;
}

} // namespace

VoiceShortcutRoute routeForFenwix(std::optional<std::string_view> version) {
    if (!version || version->empty())
        return VoiceShortcutRoute::system;
    const auto components = numericComponents(*version);
    if (!components)
        return VoiceShortcutRoute::system;
    static const auto threshold = *numericComponents(fenwixSystemRouteVersion);
    return isLower(*components, threshold) ? VoiceShortcutRoute::fenwixProcess
                                           : VoiceShortcutRoute::system;
}

std::string_view toString(VoiceShortcutRoute route) {
    switch (route) {
    case VoiceShortcutRoute::system:
        return "system";
    case VoiceShortcutRoute::fenwixProcess:
        return "fenwixProcess";
    }
    return "system";
}

} // namespace quillvane
