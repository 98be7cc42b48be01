#pragma once

#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace quillvane {

// Which output device to preselect and to play the phone's voice into. Pure selection rules; the
// device checks themselves belong to the platform layer.
struct VirtualMicrophonePolicy {
    // Persistent identifier of the "Quillvane Microphone" device.
    static constexpr std::string_view uid = "QuillvaneMicrophone_UID";

    // The user's saved choice wins even when that device is absent right now (it may come back);
    // without one, the microphone when it is available; otherwise "" (no selection).
    static std::string preferredUID(const std::optional<std::string>& saved,
                                    const std::vector<std::string>& available);

    // The selected device in a freshly read device list, or nothing when it has vanished. The
    // list is refreshed before the selection is read because refreshing may change the selection
    // (a device that just appeared can become the preselected one).
    template <class Refresh, class SelectedUID, class UidOf>
    static auto freshDevice(Refresh&& refresh, SelectedUID&& selectedUID, UidOf&& uidOf)
        -> std::optional<std::ranges::range_value_t<std::invoke_result_t<Refresh&>>> {
        auto devices = refresh();
        const auto selected = selectedUID();
        for (auto& device : devices) {
            if (uidOf(device) == selected)
                return std::move(device);
        }
        return std::nullopt;
    }
};

} // namespace quillvane
