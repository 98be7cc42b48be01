#include "CompositorProcess.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <unistd.h>

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

bool CompositorProcess::waitUntilReady(int timeoutMs) {
    return waitUntil([&] {
        return std::filesystem::exists(m_socketPath) || m_process->state() == QProcess::NotRunning;
    }, timeoutMs) && std::filesystem::exists(m_socketPath);
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
