#include "CompositorProcess.h"

#include <csignal>
#include <cstdlib>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include <unistd.h>
#include <wayland-client.h>

#include <QProcessEnvironment>

#include "integration/IntegrationTest.h"

namespace quillvane::testing_support {

CompositorProcess::CompositorProcess(const std::string& starter, const std::string& socket,
                                     const std::map<std::string, std::string>& environment)
    : m_process(std::make_unique<QProcess>()) {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    m_socketPath = std::string(runtime ? runtime : "/tmp") + "/" + socket;
    QProcessEnvironment processEnvironment = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : environment)
        processEnvironment.insert(QString::fromStdString(name), QString::fromStdString(value));
    m_process->setProcessEnvironment(processEnvironment);
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setChildProcessModifier([] { setpgid(0, 0); });
    m_process->start(QStringLiteral(QUILLVANE_SOURCE_DIR "/scripts/test-env.d/") +
                         QString::fromStdString(starter),
                     {QString::fromStdString(socket)});
}

CompositorProcess::~CompositorProcess() {
    stop();
}

namespace {

// Whether a client sees the compositor's output among its globals. Some compositors (KWin) open
// their socket well before their workspace is up; a window mapped before that never gets the
// keyboard.
bool offersAnOutput(const std::string& socketPath) {
    wl_display* display = wl_display_connect(socketPath.c_str());
    if (!display)
        return false;
    bool output = false;
    static const wl_registry_listener listener = {
        [](void* data, wl_registry*, std::uint32_t, const char* interface, std::uint32_t) {
            if (std::string_view(interface) == "wl_output")
                *static_cast<bool*>(data) = true;
        },
        [](void*, wl_registry*, std::uint32_t) {},
    };
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &listener, &output);
    wl_display_roundtrip(display);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return output;
}

} // namespace

bool CompositorProcess::waitUntilReady(int timeoutMs) {
    return waitUntil([&] {
        return (std::filesystem::exists(m_socketPath) && offersAnOutput(m_socketPath)) ||
               m_process->state() == QProcess::NotRunning;
    }, timeoutMs) && m_process->state() != QProcess::NotRunning;
}

std::string CompositorProcess::output() {
    return m_process->readAll().toStdString();
}

void CompositorProcess::stop() {
    if (m_process->state() == QProcess::NotRunning)
        return;
    const auto group = static_cast<pid_t>(m_process->processId());
    kill(-group, SIGTERM);
    if (!m_process->waitForFinished(5000)) {
        kill(-group, SIGKILL);
        m_process->waitForFinished();
    }
}

} // namespace quillvane::testing_support
