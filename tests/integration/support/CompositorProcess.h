#pragma once

#include <map>
#include <memory>
#include <string>

#include <QProcess>

namespace quillvane::testing_support {

// A headless compositor for one test, started with its starter in scripts/test-env.d (which runs it
// in the foreground) in a process group of its own, so that stopping it stops everything the
// starter began. Ready once a client sees its output.
class CompositorProcess {
public:
    CompositorProcess(const std::string& starter, const std::string& socket,
                      const std::map<std::string, std::string>& environment = {});
    ~CompositorProcess();

    // Whether it became ready in time.
    bool waitUntilReady(int timeoutMs = 30000);
    std::string output();
    void stop();

private:
    std::unique_ptr<QProcess> m_process;
    std::string m_socketPath;
};

} // namespace quillvane::testing_support
