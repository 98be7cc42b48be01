#include "DataControlClipboard.h"

#include <algorithm>
#include <functional>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <wayland-client.h>

#include "wlr-data-control-unstable-v1-client-protocol.h"

namespace quillvane {

// A data source offering some types until the selection moves on; each request goes to `send`.
class DataControlClipboard::Source {
public:
    using Send = std::function<void(const std::string& type, int fd)>;

    Source(zwlr_data_control_manager_v1* manager, const std::vector<std::string>& types, Send send)
        : m_source(zwlr_data_control_manager_v1_create_data_source(manager)),
          m_send(std::move(send)) {
        static const zwlr_data_control_source_v1_listener listener{
            [](void* data, zwlr_data_control_source_v1*, const char* type, std::int32_t fd) {
                static_cast<Source*>(data)->m_send(type, fd);
            },
            [](void*, zwlr_data_control_source_v1*) {},
        };
        zwlr_data_control_source_v1_add_listener(m_source, &listener, this);
        for (const std::string& type : types)
            zwlr_data_control_source_v1_offer(m_source, type.c_str());
    }
    ~Source() { zwlr_data_control_source_v1_destroy(m_source); }

    zwlr_data_control_source_v1* handle() const { return m_source; }

private:
    zwlr_data_control_source_v1* m_source;
    Send m_send;
};

struct DataControlListeners {
    static const zwlr_data_control_offer_v1_listener offer;
    static const zwlr_data_control_device_v1_listener device;
};

const zwlr_data_control_offer_v1_listener DataControlListeners::offer{
    [](void* data, zwlr_data_control_offer_v1* offer, const char* type) {
        auto& clipboard = *static_cast<DataControlClipboard*>(data);
        for (auto& announced : clipboard.m_announced)
            if (announced.offer == offer)
                announced.types.emplace_back(type);
    },
};

const zwlr_data_control_device_v1_listener DataControlListeners::device{
    [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
        auto& clipboard = *static_cast<DataControlClipboard*>(data);
        clipboard.m_announced.push_back({offer, {}});
        zwlr_data_control_offer_v1_add_listener(offer, &DataControlListeners::offer, &clipboard);
    },
    [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
        auto& clipboard = *static_cast<DataControlClipboard*>(data);
        if (clipboard.m_selection)
            zwlr_data_control_offer_v1_destroy(clipboard.m_selection->offer);
        clipboard.m_selection.reset();
        auto announced = std::find_if(clipboard.m_announced.begin(), clipboard.m_announced.end(),
                                      [&](const auto& known) { return known.offer == offer; });
        if (announced != clipboard.m_announced.end()) {
            clipboard.m_selection = std::move(*announced);
            clipboard.m_announced.erase(announced);
        }
        // A selection we did not set is the user's (or another program's) from now on.
        if (!clipboard.m_selecting)
            clipboard.userSelected();
    },
    [](void* data, zwlr_data_control_device_v1*) {
        auto& clipboard = *static_cast<DataControlClipboard*>(data);
        zwlr_data_control_device_v1_destroy(std::exchange(clipboard.m_device, nullptr));
    },
    [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
        // The primary selection is left alone; its offers are not needed.
        auto& clipboard = *static_cast<DataControlClipboard*>(data);
        std::erase_if(clipboard.m_announced, [&](const auto& known) { return known.offer == offer; });
        if (offer)
            zwlr_data_control_offer_v1_destroy(offer);
    },
};

DataControlClipboard::DataControlClipboard(wl_display* display,
                                           zwlr_data_control_manager_v1* manager, wl_seat* seat)
    : m_display(display), m_manager(manager) {
    m_device = zwlr_data_control_manager_v1_get_data_device(manager, seat);
    zwlr_data_control_device_v1_add_listener(m_device, &DataControlListeners::device, this);
    // The device announces the current selection at once.
    wl_display_roundtrip(m_display);
}

DataControlClipboard::~DataControlClipboard() {
    restore();
    for (const auto& announced : m_announced)
        zwlr_data_control_offer_v1_destroy(announced.offer);
    if (m_selection)
        zwlr_data_control_offer_v1_destroy(m_selection->offer);
    m_source.reset();
    if (m_device)
        zwlr_data_control_device_v1_destroy(m_device);
    wl_display_flush(m_display);
}

std::vector<std::string> DataControlClipboard::userTypes() const {
    return m_selection ? m_selection->types : std::vector<std::string>{};
}

int DataControlClipboard::receive(const std::string& type) {
    int pipe[2];
    if (!m_selection || pipe2(pipe, O_CLOEXEC) != 0)
        return -1;
    zwlr_data_control_offer_v1_receive(m_selection->offer, type.c_str(), pipe[1]);
    close(pipe[1]);
    wl_display_flush(m_display);
    return pipe[0];
}

bool DataControlClipboard::select(const std::vector<std::string>& types) {
    if (!m_device)
        return false;
    std::unique_ptr<Source> source;
    if (!types.empty())
        source = std::make_unique<Source>(m_manager, types, [this](const std::string& type, int fd) {
            serve(type, fd);
        });
    zwlr_data_control_device_v1_set_selection(m_device, source ? source->handle() : nullptr);
    m_source = std::move(source);
    // The selection event this causes arrives within the roundtrip.
    m_selecting = true;
    wl_display_roundtrip(m_display);
    m_selecting = false;
    return true;
}

} // namespace quillvane
