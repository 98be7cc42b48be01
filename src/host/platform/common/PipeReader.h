#pragma once

#include <functional>
#include <optional>
#include <string>

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

namespace quillvane {

// Reads one content from a pipe without blocking the event loop, up to its end: `done` gets it,
// or nothing when it is larger than `limit` bytes or has not ended within `timeoutMs`. Takes the
// descriptor, closes it, and deletes itself after `done`.
class PipeReader final : public QObject {
public:
    PipeReader(int fd, std::size_t limit, int timeoutMs,
               std::function<void(std::optional<std::string>)> done, QObject* parent);
    ~PipeReader() override;

private:
    void read();
    void finish(std::optional<std::string> content);

    int m_fd;
    std::size_t m_limit;
    std::string m_data;
    std::function<void(std::optional<std::string>)> m_done;
    QSocketNotifier m_notifier;
    QTimer m_timeout;
};

} // namespace quillvane
