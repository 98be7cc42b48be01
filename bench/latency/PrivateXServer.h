#pragma once

#include <string>
#include <sys/types.h>

namespace quillvane::bench {

// An Xvfb of this benchmark's own, for runs where no X server is named (DISPLAY unset): one
// 1600x600 screen, no TCP, on a display number the server picks itself (-displayfd). Stopped with
// the object.
class PrivateXServer {
public:
    PrivateXServer() = default;
    ~PrivateXServer();

    PrivateXServer(const PrivateXServer&) = delete;
    PrivateXServer& operator=(const PrivateXServer&) = delete;

    // Starts Xvfb and waits until it accepts connections; on failure `error` says why.
    bool start(std::string& error);
    // The server DISPLAY names, or else this one, started and named in DISPLAY for this process
    // and its children. Returns which, for a report; empty, with `error` set, on failure.
    std::string startUnlessNamed(std::string& error);
    void stop();

    // ":N" once started.
    const std::string& display() const { return m_display; }

private:
    pid_t m_pid = -1;
    std::string m_display;
};

} // namespace quillvane::bench
