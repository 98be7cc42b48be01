#pragma once

#include <functional>
#include <string>

#include <QObject>
#include <QSocketNotifier>

namespace quillvane {

// Writes one content into a pipe without blocking the event loop: the reading program takes its
// time, and a large content does not fit the pipe at once. Takes the descriptor, closes it when
// done, tells `done` whether everything was written, and deletes itself.
class PipeWriter final : public QObject {
public:
    PipeWriter(int fd, std::string data, std::function<void(bool)> done, QObject* parent);
    ~PipeWriter() override;

private:
    void write();
    void finish(bool complete);

    int m_fd;
    std::string m_data;
    std::size_t m_written = 0;
    std::function<void(bool)> m_done;
    QSocketNotifier m_notifier;
};

} // namespace quillvane
