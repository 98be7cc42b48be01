#include "PipeReader.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace quillvane {

PipeReader::PipeReader(int fd, std::size_t limit, int timeoutMs,
                       std::function<void(std::optional<std::string>)> done, QObject* parent)
    : QObject(parent), m_fd(fd), m_limit(limit), m_done(std::move(done)),
      m_notifier(fd, QSocketNotifier::Read) {
    fcntl(m_fd, F_SETFL, fcntl(m_fd, F_GETFL) | O_NONBLOCK);
    QObject::connect(&m_notifier, &QSocketNotifier::activated, this, [this] { read(); });
    m_timeout.setSingleShot(true);
    QObject::connect(&m_timeout, &QTimer::timeout, this, [this] { finish(std::nullopt); });
    m_timeout.start(timeoutMs);
}

PipeReader::~PipeReader() {
    close(m_fd);
}

void PipeReader::read() {
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(m_fd, buffer, sizeof buffer);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count == 0)
            return finish(std::move(m_data));
        if (count < 0 || m_data.size() + static_cast<std::size_t>(count) > m_limit)
            return finish(std::nullopt);
        m_data.append(buffer, static_cast<std::size_t>(count));
    }
}

void PipeReader::finish(std::optional<std::string> content) {
    m_notifier.setEnabled(false);
    m_timeout.stop();
    if (auto done = std::exchange(m_done, {}))
        done(std::move(content));
    deleteLater();
}

} // namespace quillvane
