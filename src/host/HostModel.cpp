#include "HostModel.h"

#include <QLoggingCategory>
#include <QPointer>

#include <utility>

#include "ControllerSession.h"
#include "InputHandler.h"
#include "MoveStatistics.h"
#include "TimerClock.h"
#include "VoiceRelay.h"
#include "discovery/ServiceAdvertiser.h"
#include "discovery/ServiceDiscovery.h"
#include "keychain/KeychainStore.h"
#include "net/LinkListener.h"
#include "net/LinkReception.h"
#include "net/SecureLink.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcConnection, "app.quillvane.HostConnection", QtInfoMsg)

const QString kWaiting = QStringLiteral("等待手机连接");
const QString kControllerConnected = QStringLiteral("手机已连接");
const QString kReceivingVoice = QStringLiteral("正在接收手机语音");

constexpr std::chrono::seconds kTickInterval{1};

using Cause = IssueBoard::Cause;

QString text(const std::exception& error) { return QString::fromUtf8(error.what()); }

} // namespace

HostModel::HostModel(Services services, QObject* parent)
    : QObject(parent), m_services(std::move(services)), m_settings(*m_services.settings),
      m_clock(std::make_unique<TimerClock>(m_services.uptime)),
      m_status(QStringLiteral("正在启动")) {
    connect(&m_issues, &IssueBoard::changed, this, &HostModel::issueChanged);
    if (m_settings.loadIssue())
        m_issues.show(*m_settings.loadIssue());
    if (m_services.input)
        m_input = std::make_unique<MoveStatistics>(*m_services.input,
                                                   [this] { return m_clock->now(); });
    m_session = std::make_unique<ControllerSession>(*m_clock, m_input.get(),
                                                    m_services.doubleClickInterval);
    connect(m_session.get(), &ControllerSession::bindingChanged, this, [this] {
        setConnected(m_session->connected());
        updateStatus();
    });
    connect(m_session.get(), &ControllerSession::issueRaised, &m_issues, &IssueBoard::show);
    m_reception = std::make_unique<LinkReception>(*m_clock);
    m_session->serve(*m_reception);
    m_timer.setInterval(kTickInterval);
    connect(&m_timer, &QTimer::timeout, m_session.get(), &ControllerSession::tick);

    if (!m_input)
        return;
    m_inputHandler = std::make_unique<InputHandler>(*m_session, *m_input);
    m_input->setAvailabilityHandler([this] { inputAvailabilityChanged(); });
    if (!m_input->permitted())
        inputAvailabilityChanged();
    if (!m_services.audio || !m_services.microphone)
        return;
    m_voice = std::make_unique<VoiceRelay>(*m_session, m_settings, *m_input, *m_services.audio,
                                           *m_services.microphone, *m_clock);
    connect(m_voice.get(), &VoiceRelay::speakingChanged, this, [this](bool speaking) {
        setSpeaking(speaking);
        m_receivingVoice = m_receivingVoice && speaking;
        updateStatus();
    });
    connect(m_voice.get(), &VoiceRelay::receiving, this, [this] {
        m_receivingVoice = true;
        updateStatus();
    });
}

HostModel::~HostModel() {
    stop();
    if (m_input)
        m_input->setAvailabilityHandler({});
}

void HostModel::setDeviceUID(const QString& uid) {
    settingChanged(m_settings.setDeviceUID(uid), &HostModel::deviceUIDChanged);
}

void HostModel::setHotkeyCode(qint64 code) {
    settingChanged(m_settings.setHotkeyCode(code), &HostModel::hotkeyCodeChanged);
}

void HostModel::setHotkeyFlags(quint64 flags) {
    if (!HostSettings::storable(flags))
        m_issues.show(QStringLiteral("无法保存语音快捷键"));
    else
        settingChanged(m_settings.setHotkeyFlags(flags), &HostModel::hotkeyFlagsChanged);
}

void HostModel::setPrepDelay(double seconds) {
    if (m_settings.setPrepDelay(seconds))
        Q_EMIT prepDelayChanged();
}

void HostModel::setShortcutMode(VoiceShortcutMode mode) {
    settingChanged(m_settings.setShortcutMode(mode), &HostModel::shortcutModeChanged);
}

void HostModel::settingChanged(bool changed, void (HostModel::*notify)()) {
    if (!changed)
        return;
    Q_EMIT(this->*notify)();
    if (m_voice)
        m_voice->abort(QStringLiteral("电脑语音设置已改变，请重新开始"));
}

void HostModel::refreshAudio() {
    if (!m_services.audio || !m_services.microphone)
        return;
    auto devices = m_services.audio->devices();
    if (devices != m_devices) {
        m_devices = std::move(devices);
        Q_EMIT devicesChanged();
    }
    auto state = m_services.microphone->inspect(m_devices);
    if (state != m_microphoneState) {
        m_microphoneState = std::move(state);
        Q_EMIT microphoneStateChanged();
    }
}

void HostModel::installMicrophone() {
    if (!m_services.microphone)
        return;
    if (voiceRunning()) {
        m_issues.show(QStringLiteral("请先结束语音，再安装麦克风"));
        return;
    }
    QPointer<HostModel> self(this);
    m_services.microphone->install([self](const MicrophoneState& state) {
        if (!self)
            return;
        self->refreshAudio();
        if (state.kind != MicrophoneState::Kind::ready)
            self->m_issues.show(QString::fromStdString(state.message()));
    });
}

bool HostModel::voiceRunning() const { return m_voice && m_voice->speaking(); }

void HostModel::updateStatus() {
    if (m_receivingVoice)
        setStatus(kReceivingVoice);
    else if (m_session->controlBound())
        setStatus(kControllerConnected);
    else if (m_listener)
        setStatus(kWaiting);
}

void HostModel::setStatus(const QString& status) {
    if (status == m_status)
        return;
    m_status = status;
    Q_EMIT statusChanged();
}

// The desktop took input away (a compositor restarting, its bus name gone) or gave it back: the
// issue says why while it lasts, and goes once input posts again.
void HostModel::inputAvailabilityChanged() {
    if (!m_input->permitted())
        m_issues.raise(Cause::input, QString::fromStdString(m_input->unavailableReason()));
    else
        m_issues.settle(Cause::input);
}

void HostModel::setConnected(bool connected) {
    if (connected == m_connected)
        return;
    m_connected = connected;
    Q_EMIT connectedChanged();
}

void HostModel::setSpeaking(bool speaking) {
    if (speaking == m_speaking)
        return;
    m_speaking = speaking;
    Q_EMIT speakingChanged();
}

QString HostModel::pairingLink() const {
    return m_profile ? QString::fromStdString(m_profile->url()) : QString();
}

bool HostModel::keyProtected() const {
    return m_services.keychain && m_services.keychain->isProtected();
}

quint16 HostModel::port() const { return m_listener ? m_listener->serverPort() : 0; }

int HostModel::linkCount() const { return static_cast<int>(m_reception->size()); }

void HostModel::start() {
    if (m_listener)
        return;
    std::optional<PairingProfile> profile;
    try {
        profile = m_services.keychain->load("host");
        if (!profile)
            profile = saveFreshProfile();
    } catch (const std::exception& error) {
        // A locked keyring or a dismissed prompt: the host stays stopped and says why; rotating
        // the pairing or starting again tries the keyring once more.
        m_issues.raise(Cause::keychain, text(error));
        return;
    }
    m_issues.settle(Cause::keychain);
    m_profile = profile;
    Q_EMIT profileChanged();

    try {
        auto listener = std::make_unique<LinkListener>(SecureLink::parameters(*m_profile));
        listener->onConnection = [this](qintptr descriptor) { accept(descriptor); };
        if (!listener->listen()) {
            m_issues.show(listener->errorString());
            return;
        }
        m_listener = std::move(listener);
    } catch (const std::exception& error) {
        m_issues.show(text(error));
        return;
    }

    m_advertiser = std::make_unique<ServiceAdvertiser>();
    // Without the advertisement the phone cannot find this computer by itself; say so until the
    // advertiser, which keeps trying, has published it again.
    connect(m_advertiser.get(), &ServiceAdvertiser::failed, this, [this](const QString& issue) {
        qCWarning(lcConnection).noquote() << QStringLiteral("Advertisement failed: ") + issue;
        m_issues.raise(Cause::advertisement, issue);
    });
    connect(m_advertiser.get(), &ServiceAdvertiser::registered, this,
            [this] { m_issues.settle(Cause::advertisement); });
    m_advertiser->publish(ServiceDiscovery::advertisement(m_profile->id), m_listener->serverPort());
    qCInfo(lcConnection, "Listening on port %u", unsigned{m_listener->serverPort()});
    Q_EMIT portChanged();
    updateStatus();
    if (m_services.audio)
        m_services.audio->onDevicesChanged = [this] { refreshAudio(); };
    refreshAudio();
    m_timer.start();
}

void HostModel::accept(qintptr descriptor) {
    if (auto* link = m_listener->wrap(descriptor))
        receiveLink(link);
}

void HostModel::receiveLink(Link* link) { m_reception->receive(link); }

void HostModel::stop() {
    m_timer.stop();
    if (m_services.audio)
        m_services.audio->onDevicesChanged = nullptr;
    const bool wasListening = m_listener != nullptr;
    m_advertiser.reset();
    m_listener.reset();
    m_session->disconnect();
    m_reception->closeAll();
    if (wasListening)
        Q_EMIT portChanged();
}

void HostModel::disconnect() { m_session->disconnect(); }

PairingProfile HostModel::saveFreshProfile() {
    const std::string name = m_services.computerName ? m_services.computerName() : "";
    PairingProfile fresh = m_services.keychain->create(name.empty() ? std::string(PairingProfile::kDefaultName) : name);
    m_services.keychain->save(fresh, "host");
    return fresh;
}

void HostModel::rotatePairing() {
    try {
        saveFreshProfile();
    } catch (const std::exception& error) {
        m_issues.raise(Cause::keychain, text(error));
        return;
    }
    stop();
    start();
}

} // namespace quillvane
