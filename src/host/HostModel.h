#pragma once

#include <QObject>
#include <QPointer>
#include <QSettings>
#include <QString>
#include <QTimer>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "AudioSink.h"
#include "InputSink.h"
#include "net/LinkAdmission.h"
#include "pairing/PairingProfile.h"
#include "protocol/WireMessage.h"
#include "voice/VoiceShortcutMode.h"

namespace quillvane {

class KeychainStore;
class LinkListener;
class SecureLink;
class ServiceAdvertiser;
class VoiceRelay;

// The host's one session object. It owns the listener and every accepted link, binds one
// controller's control and audio channels, keeps them alive with heartbeats, routes each message
// to input or voice, and publishes the state the user interface shows. Everything runs on the
// main loop; links and timers refer back to the model only through guarded pointers.
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
    static constexpr double handshakeDeadline = 10.0;
    static constexpr double heartbeatLimit = 4.0;

    explicit HostModel(Services services, QObject* parent = nullptr);
    ~HostModel() override;

    void start();
    void stop();
    void disconnect();
    void rotatePairing();
    // Shows a problem found outside the session (an input backend that cannot post, say).
    void reportIssue(const QString& issue) { setIssue(issue); }

    QString status() const { return m_status; }
    QString issue() const { return m_issue.value_or(QString()); }
    bool hasIssue() const { return m_issue.has_value(); }
    bool connected() const { return m_connected; }
    bool speaking() const { return m_speaking; }
    const std::optional<PairingProfile>& profile() const { return m_profile; }
    QString pairingLink() const;
    bool keyProtected() const;
    quint16 port() const;
    bool isStarted() const { return m_listener != nullptr; }
    int linkCount() const { return static_cast<int>(m_links.size()); }

    QString deviceUID() const { return m_deviceUID; }
    void setDeviceUID(const QString& uid);
    qint64 hotkeyCode() const { return m_hotkeyCode; }
    void setHotkeyCode(qint64 code);
    quint64 hotkeyFlags() const { return m_hotkeyFlags; }
    void setHotkeyFlags(quint64 flags);
    double prepDelay() const { return m_prepDelay; }
    void setPrepDelay(double seconds);
    VoiceShortcutMode shortcutMode() const { return m_shortcutMode; }
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
    void loadSettings();
    void accept(qintptr descriptor);
    // Keeps a started link that has no place and has sent nothing open outside the table.
    void park(SecureLink* link);
    void receive(const WireMessage& message, SecureLink* link);
    void route(const WireMessage& message, SecureLink* link);
    void handshake(const WireMessage& message, SecureLink* link);
    void handleMove(const WireMessage& message);
    void reject(SecureLink* link, WireMessage::Kind kind, const QString& reason);
    void linkClosed(SecureLink* link, const std::optional<QString>& reason);
    void tick();
    void heartbeatReply(SecureLink* link);

    void beginVoice(const WireMessage& message);
    void abortVoice(const std::optional<QString>& reason);
    void failVoice(const QString& reason);
    bool voiceRunning() const;
    void settingChanged();

    void setStatus(const QString& status);
    void setIssue(const QString& issue);
    void inputAvailabilityChanged();
    // For problems that end by themselves (the keyring, the advertisement): `cause` remembers the
    // text, and settling clears the issue if that text is still the one shown.
    void raiseIssue(std::optional<QString>& cause, const QString& issue);
    void settleIssue(std::optional<QString>& cause);
    void setConnected(bool connected);
    void setSpeaking(bool speaking);
    bool isBound(const SecureLink* link) const;
    double now() const { return m_services.uptime(); }

    Services m_services;
    std::unique_ptr<LinkListener> m_listener;
    std::unique_ptr<ServiceAdvertiser> m_advertiser;
    LinkAdmission m_links;
    // Connections that got no place, or lost theirs, before sending a byte (see park()).
    std::deque<QPointer<SecureLink>> m_parked;
    QPointer<SecureLink> m_control;
    QPointer<SecureLink> m_audio;
    std::optional<Uuid> m_clientID;
    double m_heartbeat = 0;
    QTimer m_timer;

    QString m_status;
    std::optional<QString> m_issue;
    // Problems that end by themselves, while they last (see raiseIssue): the input backend's
    // reason while it cannot post, the keyring's failure, the advertisement's.
    std::optional<QString> m_inputIssue;
    std::optional<QString> m_keychainIssue;
    std::optional<QString> m_advertisementIssue;
    std::optional<PairingProfile> m_profile;
    bool m_connected = false;
    bool m_speaking = false;

    QString m_deviceUID;
    qint64 m_hotkeyCode = 49;
    quint64 m_hotkeyFlags = 0xC0000;
    double m_prepDelay = 0.3;
    VoiceShortcutMode m_shortcutMode = VoiceShortcutMode::hold;
    std::vector<OutputDevice> m_devices;
    MicrophoneState m_microphoneState;

    // Present when input, audio and microphone services were given.
    std::unique_ptr<VoiceRelay> m_voice;

    // Move statistics, logged once a second at most.
    double m_timingStart = 0;
    double m_timingLast = 0;
    std::int64_t m_timingCount = 0;
    std::int64_t m_timingBurst = 0;
    double m_timingMaxGap = 0;
    double m_timingMaxWork = 0;
};

} // namespace quillvane
