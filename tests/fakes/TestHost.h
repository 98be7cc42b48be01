#pragma once

#include <QSettings>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <string>

#include "HostModel.h"
#include "Uptime.h"
#include "fakes/FixedMicrophone.h"
#include "fakes/RecordingAudio.h"
#include "keychain/KeychainStore.h"

namespace quillvane {

// A host session as tests and benchmarks make one: its settings and pairing key (in a file, unless
// another store is given) in a private folder, the given input, and audio that plays nothing but
// keeps time, into a virtual device chosen in the settings, with a ready microphone.
class TestHost {
public:
    static constexpr double kDoubleClickInterval = 0.5;

    explicit TestHost(InputSink& input, std::string name = "Test Host")
        : m_settings(m_dir.filePath(QStringLiteral("quillvane.ini")), QSettings::IniFormat),
          m_keychain(std::make_unique<KeychainStore>(
              KeychainStore::fileStore(m_dir.filePath(QStringLiteral("data")).toStdString()))),
          m_input(input), m_name(std::move(name)) {
        const OutputDevice device{7, "quillvane-microphone", "Quillvane Microphone", true};
        m_audio.setDevices({device});
        m_settings.setValue(QStringLiteral("audioDevice"), QString::fromStdString(device.uid));
    }
    ~TestHost() {
        if (m_host)
            m_host->stop();
    }

    // Keeps the pairing key in `keychain` instead; before make().
    void useKeychain(KeychainStore keychain) {
        m_keychain = std::make_unique<KeychainStore>(std::move(keychain));
    }
    HostModel& make() {
        m_host = std::make_unique<HostModel>(
            HostModel::Services{.keychain = m_keychain.get(),
                                .input = &m_input,
                                .audio = &m_audio,
                                .microphone = &m_microphone,
                                .settings = &m_settings,
                                .uptime = uptimeSeconds,
                                .doubleClickInterval = [] { return kDoubleClickInterval; },
                                .computerName = [name = m_name] { return name; }});
        return *m_host;
    }
    // Makes the host if need be and starts it; whether it is listening.
    bool start() {
        if (!m_host)
            make();
        m_host->start();
        return m_host->isStarted();
    }

    QString path(const QString& name) const { return m_dir.filePath(name); }
    QSettings& settings() { return m_settings; }
    KeychainStore& keychain() { return *m_keychain; }

private:
    QTemporaryDir m_dir;
    QSettings m_settings;
    std::unique_ptr<KeychainStore> m_keychain;
    InputSink& m_input;
    RecordingAudio m_audio;
    FixedMicrophone m_microphone{MicrophoneState{MicrophoneState::Kind::ready, {}}};
    std::string m_name;
    std::unique_ptr<HostModel> m_host;
};

} // namespace quillvane
