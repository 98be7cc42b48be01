#pragma once

#include <QSettings>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <string>

#include "HostModel.h"
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

    explicit TestHost(InputSink& input, std::string name = "Test Host");
    ~TestHost();

    // Keeps the pairing key in `keychain` instead; before make().
    void useKeychain(KeychainStore keychain);
    HostModel& make();
    // Makes the host if need be and starts it; whether it is listening.
    bool start();

    HostModel& host() { return *m_host; }
    QString path(const QString& name) const { return m_dir.filePath(name); }
    QSettings& settings() { return m_settings; }
    KeychainStore& keychain() { return *m_keychain; }
    RecordingAudio& audio() { return m_audio; }
    FixedMicrophone& microphone() { return m_microphone; }

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
