#include "PipeWriter.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace quillvane {

PipeWriter::PipeWriter(int fd, std::string data, std::function<void(bool)> done, QObject* parent)
    : QObject(parent), m_fd(fd), m_data(std::move(data)), m_done(std::move(done)),
      m_notifier(fd, QSocketNotifier::Write) {
    fcntl(m_fd, F_SETFL, fcntl(m_fd, F_GETFL) | O_NONBLOCK);
    QObject::connect(&m_notifier, &QSocketNotifier::activated, this, [this] { write(); });
    write();
}

PipeWriter::~PipeWriter() {
    close(m_fd);
}

void PipeWriter::write() {
    while (m_written < m_data.size()) {
        const ssize_t count = ::write(m_fd, m_data.data() + m_written, m_data.size() - m_written);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return; // the notifier calls again when the pipe has room
        if (count <= 0)
            return finish(false);
        m_written += static_cast<std::size_t>(count);
    }
    finish(true);
}

void PipeWriter::finish(bool complete) {
    m_notifier.setEnabled(false);
    if (auto done = std::exchange(m_done, {}))
        done(complete);
    deleteLater();
}

} // namespace quillvane
