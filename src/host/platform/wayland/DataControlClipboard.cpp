#include "DataControlClipboard.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <wayland-client.h>

#include <QSocketNotifier>

#include "wlr-data-control-unstable-v1-client-protocol.h"

namespace quillvane {
namespace {

// The types programs ask for when they paste text, the first being what toolkits prefer.
const std::vector<std::string> textTypes{"text/plain;charset=utf-8", "text/plain", "UTF8_STRING",
                                         "STRING", "TEXT"};

// Writes one transfer without blocking: the reading program takes its time, and a large content
// does not fit the pipe at once. Deletes itself when done or when the reader goes away.
class Transfer : public QObject {
public:
    Transfer(int fd, std::string data) : m_fd(fd), m_data(std::move(data)), m_notifier(fd, QSocketNotifier::Write) {
        fcntl(m_fd, F_SETFL, fcntl(m_fd, F_GETFL) | O_NONBLOCK);
        QObject::connect(&m_notifier, &QSocketNotifier::activated, this, [this] { write(); });
        write();
    }
    ~Transfer() override { close(m_fd); }

private:
    void write() {
        while (m_written < m_data.size()) {
            const ssize_t count = ::write(m_fd, m_data.data() + m_written, m_data.size() - m_written);
            if (count < 0 && errno == EAGAIN)
                return; // the notifier calls again when the pipe has room
            if (count <= 0)
                break;
            m_written += static_cast<std::size_t>(count);
        }
        m_notifier.setEnabled(false);
        deleteLater();
    }

    int m_fd;
    std::string m_data;
    std::size_t m_written = 0;
    QSocketNotifier m_notifier;
};

} // namespace

// A data source serving one content until the selection moves on.
class DataControlClipboard::Source {
public:
    Source(zwlr_data_control_manager_v1* manager, Content content, std::function<void()> onSend)
        : m_source(zwlr_data_control_manager_v1_create_data_source(manager)),
          m_content(std::move(content)), m_onSend(std::move(onSend)) {
        static const zwlr_data_control_source_v1_listener listener{
            [](void* data, zwlr_data_control_source_v1*, const char* type, std::int32_t fd) {
                auto& source = *static_cast<Source*>(data);
                const auto found = source.m_content.find(type);
                if (found == source.m_content.end()) {
                    close(fd);
                    return;
                }
                new Transfer(fd, found->second);
                if (source.m_onSend)
                    source.m_onSend();
            },
            [](void*, zwlr_data_control_source_v1*) {},
        };
        zwlr_data_control_source_v1_add_listener(m_source, &listener, this);
        for (const auto& [type, bytes] : m_content)
            zwlr_data_control_source_v1_offer(m_source, type.c_str());
    }
    ~Source() { zwlr_data_control_source_v1_destroy(m_source); }

    zwlr_data_control_source_v1* handle() const { return m_source; }

private:
    zwlr_data_control_source_v1* m_source;
    Content m_content;
    std::function<void()> m_onSend;
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
        clipboard.m_selectionIsOurs = false;
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

// Reads the selection in each of its types, blocking for at most readTimeoutMs in all: the
// content must be in hand before our own offer replaces it, and its owner answers at once.
DataControlClipboard::Content DataControlClipboard::readSelection() {
    Content content;
    if (!m_selection)
        return content;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(readTimeoutMs);
    std::size_t total = 0;
    for (const std::string& type : m_selection->types) {
        if (content.size() == maximumKeptTypes)
            break;
        int pipe[2];
        if (pipe2(pipe, O_CLOEXEC) != 0)
            break;
        zwlr_data_control_offer_v1_receive(m_selection->offer, type.c_str(), pipe[1]);
        close(pipe[1]);
        wl_display_flush(m_display);
        std::string bytes;
        bool complete = false;
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd readable{pipe[0], POLLIN, 0};
            if (left.count() <= 0 || poll(&readable, 1, int(left.count())) <= 0)
                break;
            char buffer[65536];
            const ssize_t count = read(pipe[0], buffer, sizeof buffer);
            if (count == 0) {
                complete = true;
                break;
            }
            if (count < 0 || total + bytes.size() + count > maximumKeptBytes)
                break;
            bytes.append(buffer, static_cast<std::size_t>(count));
        }
        close(pipe[0]);
        if (!complete)
            break;
        total += bytes.size();
        content.emplace(type, std::move(bytes));
    }
    return content;
}

void DataControlClipboard::setSelection(Content content, bool isPaste) {
    std::unique_ptr<Source> source;
    m_awaitingRead = isPaste;
    if (!content.empty())
        source = std::make_unique<Source>(m_manager, std::move(content), [this, isPaste] {
            if (isPaste)
                m_awaitingRead = false;
        });
    zwlr_data_control_device_v1_set_selection(m_device, source ? source->handle() : nullptr);
    m_source = std::move(source);
    wl_display_flush(m_display);
    // The selection event this causes is ours, and arrives after the one before it.
    wl_display_roundtrip(m_display);
    m_selectionIsOurs = true;
}

bool DataControlClipboard::offer(const std::string& text) {
    if (!m_device)
        return false;
    if (!m_kept)
        m_kept = m_selectionIsOurs ? m_restored : readSelection();
    Content content;
    for (const auto& type : textTypes)
        content.emplace(type, text);
    setSelection(std::move(content), true);
    return true;
}

void DataControlClipboard::restore() {
    if (!m_kept || !m_device)
        return;
    m_restored = *std::exchange(m_kept, std::nullopt);
    setSelection(m_restored, false);
}

} // namespace quillvane
