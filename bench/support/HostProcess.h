#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <chrono>
#include <optional>

#include "pairing/PairingProfile.h"

namespace quillvane::bench {

// The quillvane program (beside the benchmark in the build's bin folder), started headless as a
// child with its state in a private temporary directory: its own XDG config and data homes, and
// a session bus address that leads nowhere, so its pairing key goes to a file there and a
// benchmark never touches the user's keyring or pairing. Its log goes to a file in that directory.
class HostProcess {
public:
    HostProcess();
    ~HostProcess();

    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    // Starts the program and waits until it has printed its port and pairing link. On failure
    // error() tells why, with the end of the program's log.
    bool start(std::chrono::milliseconds limit);
    // Asks the program to stop (SIGTERM) and waits for it; kills it if it does not stop.
    void stop();

    // The link a phone's browser opens, once the program has printed it (after its port), or
    // empty when it prints none within `limit`: a program without its page prints none.
    QString browserLink(std::chrono::milliseconds limit);

    quint16 port() const { return m_port; }
    const PairingProfile& profile() const { return *m_profile; }
    qint64 pid() const { return m_process.processId(); }
    bool isRunning() const { return m_process.state() == QProcess::Running; }
    const QString& error() const { return m_error; }

private:
    bool fail(const QString& reason);
    QString logTail() const;

    QTemporaryDir m_dir;
    QProcess m_process;
    QByteArray m_output;
    bool m_reading = true;
    quint16 m_port = 0;
    std::optional<PairingProfile> m_profile;
    QString m_error;
};

} // namespace quillvane::bench
