#include "PrivateXServer.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace quillvane::bench {
namespace {

constexpr int kReadyLimitMs = 10'000;

} // namespace

PrivateXServer::~PrivateXServer() {
    stop();
}

std::string PrivateXServer::startUnlessNamed(std::string& error) {
    if (const char* named = std::getenv("DISPLAY"); named && *named)
        return std::string("DISPLAY=") + named;
    if (!start(error))
        return {};
    ::setenv("DISPLAY", m_display.c_str(), 1);
    return "private Xvfb on " + m_display + " (DISPLAY was not set)";
}

bool PrivateXServer::start(std::string& error) {
    int pipeFds[2];
    if (::pipe(pipeFds) != 0) {
        error = std::string("pipe: ") + std::strerror(errno);
        return false;
    }
    const int readFd = pipeFds[0];
    const int writeFd = pipeFds[1];
    std::string fdText = std::to_string(writeFd);
    std::vector<std::string> arguments{"Xvfb", "-displayfd",  fdText,      "-screen",
                                       "0",    "1600x600x24", "-nolisten", "tcp"};
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    // The server inherits only the pipe's write end; its chatter goes nowhere.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, readFd);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const int spawned = posix_spawnp(&m_pid, "Xvfb", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(writeFd);
    if (spawned != 0) {
        ::close(readFd);
        m_pid = -1;
        error = std::string("cannot start Xvfb (scripts/bootstrap installs it): ") +
                std::strerror(spawned);
        return false;
    }

    // Xvfb writes its display number and a newline once it accepts connections.
    std::string number;
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kReadyLimitMs);
    while (number.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{readFd, POLLIN, 0};
        char buffer[16];
        ssize_t got = 0;
        if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) <= 0 ||
            (got = ::read(readFd, buffer, sizeof buffer)) <= 0)
            break;
        number.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(readFd);
    if (number.find('\n') == std::string::npos) {
        stop();
        error = "Xvfb did not report a display within 10 s";
        return false;
    }
    m_display = ":" + number.substr(0, number.find('\n'));
    return true;
}

void PrivateXServer::stop() {
    if (m_pid <= 0)
        return;
    ::kill(m_pid, SIGTERM);
    for (int i = 0; i < 100; ++i) {
        if (::waitpid(m_pid, nullptr, WNOHANG) == m_pid) {
            m_pid = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

} // namespace quillvane::bench
