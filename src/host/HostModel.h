#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

#include "AudioSink.h"
#include "HostSettings.h"
#include "InputSink.h"
#include "IssueBoard.h"
#include "net/LinkAdmission.h"
#include "pairing/PairingProfile.h"
#include "voice/VoiceShortcutMode.h"

namespace quillvane {

class ControllerSession;
class InputHandler;
class KeychainStore;
class Link;
class LinkListener;
class LinkReception;
class MoveStatistics;
class ServiceAdvertiser;
class TimerClock;
class VoiceRelay;

// The host as the user interface sees it: the state it shows (status, issue, pairing, connection,
// voice, settings) and the parts that make it, wired together. The pairing key and its
// advertisement are kept here; the links are received by LinkReception, the controller bound and
// kept by ControllerSession, its messages handled by InputHandler and VoiceRelay. Everything runs
// on the main loop.
class HostModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    Q_PROPERTY(QString issue READ issue NOTIFY issueChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)
    Q_PROPERTY(bool speaking READ speaking NOTIFY speakingChanged)
    Q_PROPERTY(QString pairingLink READ pairingLink NOTIFY profileChanged)
    Q_PROPERTY(bool keyProtected READ keyProtected NOTIFY profileChanged)
    Q_PROPERTY(quint16 port READ port NOTIFY portChanged)
    Q_PROPERTY(QString deviceUID READ deviceUID WRITE setDeviceUID NOTIFY deviceUIDChanged)
    Q_PROPERTY(qint64 hotkeyCode READ hotkeyCode WRITE setHotkeyCode NOTIFY hotkeyCodeChanged)
    Q_PROPERTY(quint64 hotkeyFlags READ hotkeyFlags WRITE setHotkeyFlags NOTIFY hotkeyFlagsChanged)
    Q_PROPERTY(double prepDelay READ prepDelay WRITE setPrepDelay NOTIFY prepDelayChanged)

public:
    // What the session uses of the machine; tests substitute their own.
    struct Services {
        KeychainStore* keychain = nullptr;
        InputSink* input = nullptr;
        AudioSink* audio = nullptr;
        MicrophoneInspector* microphone = nullptr;
        QSettings* settings = nullptr;
        std::function<double()> uptime;              // monotonic seconds
        std::function<double()> doubleClickInterval; // the desktop's, in seconds
        std::function<std::string()> computerName;   // for new pairing profiles
    };

    static constexpr int maximumLinks = static_cast<int>(LinkAdmission::kCapacity);

    explicit HostModel(Services services, QObject* parent = nullptr);
    ~HostModel() override;

    void start();
    void stop();
    void disconnect();
    void rotatePairing();
    // Takes a link that arrived over another transport (a browser's WebSocket), not started: it
    // goes through the same admission as the phone's TLS links.
    void receiveLink(Link* link);
    // Shows a problem found outside the session (an input backend that cannot post, say).
    void reportIssue(const QString& issue) { m_issues.show(issue); }

    QString status() const { return m_status; }
    QString issue() const { return m_issues.issue().value_or(QString()); }
    bool hasIssue() const { return m_issues.issue().has_value(); }
    bool connected() const { return m_connected; }
    bool speaking() const { return m_speaking; }
    const std::optional<PairingProfile>& profile() const { return m_profile; }
    QString pairingLink() const;
    bool keyProtected() const;
    quint16 port() const;
    bool isStarted() const { return m_listener != nullptr; }
    int linkCount() const;

    QString deviceUID() const { return m_settings.deviceUID(); }
    void setDeviceUID(const QString& uid);
    qint64 hotkeyCode() const { return m_settings.shortcut().code; }
    void setHotkeyCode(qint64 code);
    quint64 hotkeyFlags() const { return m_settings.shortcut().modifiers; }
    void setHotkeyFlags(quint64 flags);
    double prepDelay() const { return m_settings.prepDelay(); }
    void setPrepDelay(double seconds);
    VoiceShortcutMode shortcutMode() const { return m_settings.shortcut().mode; }
    void setShortcutMode(VoiceShortcutMode mode);

    // The audio outputs offered for the voice, and the virtual microphone's state, as last read.
    const std::vector<OutputDevice>& devices() const { return m_devices; }
    const MicrophoneState& microphoneState() const { return m_microphoneState; }
    // Reads both again (the settings window's refresh; also done when the device list changes).
    void refreshAudio();
    // Installs or repairs the virtual microphone; refused while an utterance is spoken.
    void installMicrophone();

Q_SIGNALS:
    void statusChanged();
    void issueChanged();
    void connectedChanged();
    void speakingChanged();
    void profileChanged();
    void portChanged();
    void deviceUIDChanged();
    void hotkeyCodeChanged();
    void hotkeyFlagsChanged();
    void prepDelayChanged();
    void shortcutModeChanged();
    void devicesChanged();
    void microphoneStateChanged();

private:
    void accept(qintptr descriptor);
    // A new pairing profile, saved under "host" in the keychain; throws when it cannot be.
    PairingProfile saveFreshProfile();
    // Notifies a stored setting's change, if it changed. An utterance never continues with a
    // shortcut or device other than the one it began with.
    void settingChanged(bool changed, void (HostModel::*notify)());
    // The status line follows the session: receiving voice, a phone bound, or waiting for one.
    void updateStatus();

    void setStatus(const QString& status);
    void inputAvailabilityChanged();
    void setConnected(bool connected);
    void setSpeaking(bool speaking);
    bool voiceRunning() const;

    Services m_services;
    IssueBoard m_issues;
    HostSettings m_settings;
    std::unique_ptr<TimerClock> m_clock;
    // Wraps the given input, when there is one; the session and the handlers post through it.
    std::unique_ptr<MoveStatistics> m_input;
    std::unique_ptr<ControllerSession> m_session;
    std::unique_ptr<InputHandler> m_inputHandler;
    // Present when input, audio and microphone services were given.
    std::unique_ptr<VoiceRelay> m_voice;
    std::unique_ptr<LinkReception> m_reception;
    std::unique_ptr<LinkListener> m_listener;
    std::unique_ptr<ServiceAdvertiser> m_advertiser;
    QTimer m_timer;

    QString m_status;
    std::optional<PairingProfile> m_profile;
    bool m_connected = false;
    bool m_speaking = false;
    bool m_receivingVoice = false;

    std::vector<OutputDevice> m_devices;
    MicrophoneState m_microphoneState;
};

} // namespace quillvane
