#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/common/KeptClipboard.h"

struct wl_display;
struct wl_seat;
struct zwlr_data_control_manager_v1;
struct zwlr_data_control_device_v1;
struct zwlr_data_control_offer_v1;
struct zwlr_data_control_source_v1;

namespace quillvane {

// The seat's clipboard through wlroots' data-control protocol, which KWin and the wlroots
// compositors offer to programs without a window. Events arrive through the owner's dispatch of
// the display; the owner keeps the display, manager and seat alive.
class DataControlClipboard final : public KeptClipboard {
public:
    DataControlClipboard(wl_display* display, zwlr_data_control_manager_v1* manager, wl_seat* seat);
    ~DataControlClipboard() override;

    DataControlClipboard(const DataControlClipboard&) = delete;
    DataControlClipboard& operator=(const DataControlClipboard&) = delete;

private:
    struct Offer {
        zwlr_data_control_offer_v1* offer = nullptr;
        std::vector<std::string> types;
    };
    class Source;

    std::vector<std::string> userTypes() const override;
    int receive(const std::string& type) override;
    bool select(const std::vector<std::string>& types) override;

    wl_display* m_display;
    zwlr_data_control_device_v1* m_device = nullptr;
    zwlr_data_control_manager_v1* m_manager;
    // Offers announced but not yet made the selection, and the current selection's.
    std::vector<Offer> m_announced;
    std::optional<Offer> m_selection;
    std::unique_ptr<Source> m_source;
    // Selection events our own selections cause are not the user's.
    bool m_selecting = false;

    friend struct DataControlListeners;
};

} // namespace quillvane
