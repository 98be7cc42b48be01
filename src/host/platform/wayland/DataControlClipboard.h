#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/common/PasteClipboard.h"

struct wl_display;
struct wl_seat;
struct zwlr_data_control_manager_v1;
struct zwlr_data_control_device_v1;
struct zwlr_data_control_offer_v1;
struct zwlr_data_control_source_v1;

namespace quillvane {

// The seat's clipboard through wlroots' data-control protocol, which KWin and the wlroots
// compositors offer to programs without a window: the text to paste is offered in the usual text
// types, and the user's own content, read beforehand in every type it was offered in, is offered
// again afterwards, so that pasting leaves the clipboard as it was. Events arrive through the
// owner's dispatch of the display; the owner keeps the display, manager and seat alive.
class DataControlClipboard final : public PasteClipboard {
public:
    DataControlClipboard(wl_display* display, zwlr_data_control_manager_v1* manager, wl_seat* seat);
    ~DataControlClipboard() override;

    DataControlClipboard(const DataControlClipboard&) = delete;
    DataControlClipboard& operator=(const DataControlClipboard&) = delete;

    bool offer(const std::string& text) override;
    void restore() override;
    bool delivered() const override { return !m_awaitingRead; }

    // Content larger than this, or types beyond the first few, are not kept: restoring the text
    // of an ordinary copy matters; a copied video does not fit the purpose.
    static constexpr std::size_t maximumKeptBytes = 16 * 1024 * 1024;
    static constexpr std::size_t maximumKeptTypes = 16;
    // How long the program owning the clipboard gets to hand its content over.
    static constexpr int readTimeoutMs = 300;

private:
    struct Offer {
        zwlr_data_control_offer_v1* offer = nullptr;
        std::vector<std::string> types;
    };
    // One content in several types, as a data source serves it.
    using Content = std::map<std::string, std::string>;
    class Source;

    void setSelection(Content content, bool isPaste);
    Content readSelection();

    wl_display* m_display;
    zwlr_data_control_device_v1* m_device = nullptr;
    zwlr_data_control_manager_v1* m_manager;
    // Offers announced but not yet made the selection, and the current selection's.
    std::vector<Offer> m_announced;
    std::optional<Offer> m_selection;
    // The selection is ours (a paste in progress or a restored copy): not the user's to keep.
    bool m_selectionIsOurs = false;
    std::unique_ptr<Source> m_source;
    // The text offered last has not been asked for yet.
    bool m_awaitingRead = false;
    // The user's content, taken at the first offer and given back by restore(); and what the last
    // restore() gave back, which is still the user's while the selection stays ours.
    std::optional<Content> m_kept;
    Content m_restored;

    friend struct DataControlListeners;
};

} // namespace quillvane
