#include "HostModel.h"

#include <QLoggingCategory>

#include <algorithm>
#include <chrono>
#include <utility>

#include "discovery/ServiceAdvertiser.h"
#include "discovery/ServiceDiscovery.h"
#include "keychain/KeychainStore.h"
#include "net/LinkListener.h"
#include "net/SecureLink.h"
#include "pointer/TrackpadMoveBatch.h"
#include "VoiceRelay.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcConnection, "app.quillvane.HostConnection", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTiming, "app.quillvane.InputTiming", QtInfoMsg)
Q_LOGGING_CATEGORY(lcVoice, "app.quillvane.Voice", QtInfoMsg)

const QString kWaiting = QStringLiteral("等待 iPhone 连接");
const QString kControllerConnected = QStringLiteral("iPhone 已连接");
const QString kReceivingVoice = QStringLiteral("正在接收手机语音");

constexpr double kTickInterval = 1.0;
constexpr double kStatisticsPause = 0.2;
constexpr double kStatisticsBurst = 0.002;
constexpr double kStatisticsPeriod = 1.0;

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long>(seconds * 1000));
}

QString text(const std::exception& error) { return QString::fromUtf8(error.what()); }

} // namespace

HostModel::HostModel(Services services, QObject* parent)
    : QObject(parent), m_services(std::move(services)), m_status(QStringLiteral("正在启动")) {
    m_timer.setInterval(milliseconds(kTickInterval));
    connect(&m_timer, &QTimer::timeout, this, &HostModel::tick);
    loadSettings();
    if (m_services.input) {
        m_services.input->setAvailabilityHandler([this] { inputAvailabilityChanged(); });
        if (!m_services.input->permitted())
            inputAvailabilityChanged();
    }
    if (!m_services.input || !m_services.audio || !m_services.microphone)
        return;
    m_voice = std::make_unique<VoiceRelay>(*m_services.input, *m_services.audio,
                                           *m_services.microphone, m_services.uptime);
    m_voice->sendControl = [this](const WireMessage& message) {
        if (m_control)
            m_control->send(message);
    };
    connect(m_voice.get(), &VoiceRelay::speakingChanged, this, [this](bool speaking) {
        setSpeaking(speaking);
        if (!speaking && m_status == kReceivingVoice)
            setStatus(m_control ? kControllerConnected : kWaiting);
    });
    connect(m_voice.get(), &VoiceRelay::receiving, this, [this] { setStatus(kReceivingVoice); });
    connect(m_voice.get(), &VoiceRelay::failed, this, &HostModel::failVoice);
}

HostModel::~HostModel() {
    stop();
    if (m_services.input)
        m_services.input->setAvailabilityHandler({});
}

// --- Settings -------------------------------------------------------------------------------

void HostModel::loadSettings() {
    QSettings& settings = *m_services.settings;
    m_deviceUID = settings.value(QStringLiteral("audioDevice")).toString();

    bool ok = false;
    const qint64 code = settings.value(QStringLiteral("hotkeyCode")).toLongLong(&ok);
    m_hotkeyCode = ok ? code : 49;

    const qint64 flags = settings.value(QStringLiteral("hotkeyFlags")).toLongLong(&ok);
    if (ok && flags < 0) {
        // A negative value would become a different shortcut if converted; refuse it loudly and
        // leave the stored value for the user to see rather than rewriting it.
        qCCritical(lcConnection, "Stored hotkeyFlags %lld is negative; using the default shortcut",
                   static_cast<long long>(flags));
        setIssue(QStringLiteral("保存的语音快捷键无效，已使用默认快捷键"));
        m_hotkeyFlags = 0xC0000;
    } else {
        m_hotkeyFlags = ok ? static_cast<quint64>(flags) : 0xC0000;
    }

    m_prepDelay = 0.3;
    const auto mode = settings.value(QStringLiteral("voiceShortcutMode")).toString();
    m_shortcutMode = mode == QStringLiteral("toggle") ? VoiceShortcutMode::toggle
                                                      : VoiceShortcutMode::hold;
}

void HostModel::setDeviceUID(const QString& uid) {
    if (uid == m_deviceUID)
        return;
    m_deviceUID = uid;
    m_services.settings->setValue(QStringLiteral("audioDevice"), uid);
    Q_EMIT deviceUIDChanged();
    settingChanged();
}

void HostModel::setHotkeyCode(qint64 code) {
    if (code == m_hotkeyCode)
        return;
    m_hotkeyCode = code;
    m_services.settings->setValue(QStringLiteral("hotkeyCode"), code);
    Q_EMIT hotkeyCodeChanged();
    settingChanged();
}

void HostModel::setHotkeyFlags(quint64 flags) {
    if (flags == m_hotkeyFlags)
        return;
    if (flags > static_cast<quint64>(std::numeric_limits<qint64>::max())) {
        // Stored as a signed integer: such flags could not be read back unchanged.
        setIssue(QStringLiteral("无法保存语音快捷键"));
        return;
    }
    m_hotkeyFlags = flags;
    m_services.settings->setValue(QStringLiteral("hotkeyFlags"), static_cast<qint64>(flags));
    Q_EMIT hotkeyFlagsChanged();
    settingChanged();
}

void HostModel::setPrepDelay(double seconds) {
    if (seconds == m_prepDelay || !(seconds >= 0))
        return;
    m_prepDelay = seconds;
    Q_EMIT prepDelayChanged();
}

void HostModel::setShortcutMode(VoiceShortcutMode mode) {
    if (mode == m_shortcutMode)
        return;
    m_shortcutMode = mode;
    m_services.settings->setValue(QStringLiteral("voiceShortcutMode"),
                                  QString::fromLatin1(toString(mode)));
    Q_EMIT shortcutModeChanged();
    settingChanged();
}

void HostModel::settingChanged() {
    // An utterance never continues with a shortcut or device other than the one it began with.
    abortVoice(QStringLiteral("Mac 语音设置已改变，请重新开始"));
}

// --- Audio devices and the virtual microphone -----------------------------------------------

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
        setIssue(QStringLiteral("请先结束语音，再安装麦克风"));
        return;
    }
    QPointer<HostModel> self(this);
    m_services.microphone->install([self](const MicrophoneState& state) {
        if (!self)
            return;
        self->refreshAudio();
        if (state.kind != MicrophoneState::Kind::ready)
            self->setIssue(QString::fromStdString(state.message()));
    });
}

// --- Published state ------------------------------------------------------------------------

void HostModel::setStatus(const QString& status) {
    if (status == m_status)
        return;
    m_status = status;
    Q_EMIT statusChanged();
}

void HostModel::setIssue(const QString& issue) {
    m_issue = issue;
    Q_EMIT issueChanged();
}

// The desktop took input away (a compositor restarting, its bus name gone) or gave it back: the
// issue says why while it lasts, and goes once input posts again.
void HostModel::inputAvailabilityChanged() {
    const InputSink& input = *m_services.input;
    if (!input.permitted())
        raiseIssue(m_inputIssue, QString::fromStdString(input.unavailableReason()));
    else
        settleIssue(m_inputIssue);
}

void HostModel::raiseIssue(std::optional<QString>& cause, const QString& issue) {
    cause = issue;
    setIssue(issue);
}

void HostModel::settleIssue(std::optional<QString>& cause) {
    // A later problem may have taken the issue's place; that one stays.
    if (cause && m_issue == cause) {
        m_issue.reset();
        Q_EMIT issueChanged();
    }
    cause.reset();
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

bool HostModel::isBound(const SecureLink* link) const {
    return link && (link == m_control || link == m_audio);
}

// --- Lifecycle ------------------------------------------------------------------------------

void HostModel::start() {
    if (m_listener)
        return;
    std::optional<PairingProfile> profile;
    try {
        profile = m_services.keychain->load("host");
        if (!profile) {
            std::string name = m_services.computerName ? m_services.computerName() : "";
            profile = m_services.keychain->create(name.empty() ? "Mac" : name);
            m_services.keychain->save(*profile, "host");
        }
    } catch (const std::exception& error) {
        // A locked keyring or a dismissed prompt: the host stays stopped and says why; rotating
        // the pairing or starting again tries the keyring once more.
        raiseIssue(m_keychainIssue, text(error));
        return;
    }
    settleIssue(m_keychainIssue);
    m_profile = profile;
    Q_EMIT profileChanged();

    try {
        auto listener = std::make_unique<LinkListener>(SecureLink::parameters(*m_profile));
        listener->onConnection = [this](qintptr descriptor) { accept(descriptor); };
        if (!listener->listen()) {
            setIssue(listener->errorString());
            return;
        }
        m_listener = std::move(listener);
    } catch (const std::exception& error) {
        setIssue(text(error));
        return;
    }

    m_advertiser = std::make_unique<ServiceAdvertiser>();
    // Without the advertisement the phone cannot find this computer by itself; say so until the
    // advertiser, which keeps trying, has published it again.
    connect(m_advertiser.get(), &ServiceAdvertiser::failed, this, [this](const QString& issue) {
        qCWarning(lcConnection).noquote() << QStringLiteral("Advertisement failed: ") + issue;
        raiseIssue(m_advertisementIssue, issue);
    });
    connect(m_advertiser.get(), &ServiceAdvertiser::registered, this,
            [this] { settleIssue(m_advertisementIssue); });
    m_advertiser->publish(ServiceDiscovery::advertisement(m_profile->id), m_listener->serverPort());
    qCInfo(lcConnection, "Listening on port %u", unsigned{m_listener->serverPort()});
    Q_EMIT portChanged();
    setStatus(kWaiting);
    if (m_services.audio)
        m_services.audio->onDevicesChanged = [this] { refreshAudio(); };
    refreshAudio();
    m_timer.start();
}

void HostModel::stop() {
    m_timer.stop();
    if (m_services.audio)
        m_services.audio->onDevicesChanged = nullptr;
    const bool wasListening = m_listener != nullptr;
    m_advertiser.reset();
    m_listener.reset();
    disconnect();
    // Closing a link removes it from the table through its close handler; take the table first.
    for (auto& link : m_links.takeAll())
        if (link)
            link->close();
    for (auto& link : std::exchange(m_parked, {}))
        if (link)
            link->close();
    if (wasListening)
        Q_EMIT portChanged();
}

void HostModel::rotatePairing() {
    try {
        std::string name = m_services.computerName ? m_services.computerName() : "";
        const PairingProfile fresh = m_services.keychain->create(name.empty() ? "Mac" : name);
        m_services.keychain->save(fresh, "host");
    } catch (const std::exception& error) {
        raiseIssue(m_keychainIssue, text(error));
        return;
    }
    stop();
    start();
}

// --- Links ----------------------------------------------------------------------------------

void HostModel::accept(qintptr descriptor) {
    auto* link = m_listener->wrap(descriptor, this);
    if (!link)
        return;
    // Links in any state count, handshakes included, so a flood cannot grow the table; but
    // connections that have not proven the key cannot keep the phone out either.
    const LinkAdmission::Decision decision = m_links.admit(link, now());
    if (!decision.admitted) {
        park(link);
        link->start();
        return;
    }
    if (const QPointer<SecureLink> displaced = decision.displaced) {
        if (displaced->isSilent()) {
            park(displaced);
        } else {
            // Released without its close handler: the admission log accounts for displaced links
            // once a second, where a flood would otherwise write a "Peer closed" line for each.
            displaced->onClose = nullptr;
            displaced->close();
            displaced->deleteLater();
        }
    }

    QPointer<SecureLink> weak(link);
    link->onMessage = [this, weak](const WireMessage& message) {
        if (weak)
            receive(message, weak);
    };
    link->onClose = [this, weak](const std::optional<QString>& reason) {
        if (weak)
            linkClosed(weak, reason);
    };
    link->start();

    // Deadlines are precise: a coarse timer may fire up to 5 % early, closing a link that was
    // still within its ten seconds. The timer is the link's, so it goes with the link: a flood
    // ends thousands of links a second, and a timer left behind for each would pile up.
    auto* deadline = new QTimer(link);
    deadline->setSingleShot(true);
    deadline->setTimerType(Qt::PreciseTimer);
    QObject::connect(deadline, &QTimer::timeout, this, [this, weak] {
        if (weak && !isBound(weak))
            weak->close(QStringLiteral("会话握手超时"));
    });
    deadline->start(milliseconds(handshakeDeadline));
}

void HostModel::park(SecureLink* link) {
    // A squatter reopens the moment its connection is closed and takes the next place, and that
    // cycle, thousands of times a second, is what costs the host its time. Left open, a connection
    // that never spoke holds nothing of the table and costs nothing until its identity deadline
    // ends it. One that speaks after all (a phone whose first packet was late) is closed at once,
    // so it retries without waiting. The oldest go when too many wait.
    constexpr std::size_t kMaximumParked = 64;
    QPointer<SecureLink> weak(link);
    link->onMessage = nullptr;
    link->onFirstBytes = [weak] {
        if (weak)
            weak->close();
    };
    // Without a "Peer closed" line: the admission log counts these.
    link->onClose = [weak](const std::optional<QString>&) {
        if (weak)
            weak->deleteLater();
    };
    std::erase_if(m_parked, [](const QPointer<SecureLink>& parked) {
        return !parked || parked->isClosed();
    });
    m_parked.push_back(weak);
    while (m_parked.size() > kMaximumParked) {
        const QPointer<SecureLink> oldest = m_parked.front();
        m_parked.pop_front();
        if (oldest)
            oldest->close();
    }
}

void HostModel::linkClosed(SecureLink* link, const std::optional<QString>& reason) {
    qCInfo(lcConnection).noquote() << QStringLiteral("Peer closed reason=") + reason.value_or(QStringLiteral("none"));
    m_links.remove(link);
    if (isBound(link))
        disconnect();
    link->deleteLater();
}

void HostModel::disconnect() {
    QPointer<SecureLink> control = m_control;
    QPointer<SecureLink> audio = m_audio;
    m_control.clear();
    m_audio.clear();
    m_clientID.reset();
    setConnected(false);
    abortVoice(std::nullopt);
    if (m_services.input)
        m_services.input->releaseAll();
    if (control)
        control->close();
    if (audio)
        audio->close();
    if (m_listener)
        setStatus(kWaiting);
}

void HostModel::tick() {
    const double current = now();
    if (m_control && current - m_heartbeat > heartbeatLimit) {
        disconnect();
        setIssue(QStringLiteral("连接中断，已释放所有按键"));
    }
    if (m_voice)
        m_voice->tick(current);
}

// --- Messages -------------------------------------------------------------------------------

void HostModel::receive(const WireMessage& message, SecureLink* link) {
    try {
        if (message.kind == WireMessage::Kind::hello)
            handshake(message, link);
        else
            route(message, link);
    } catch (const std::exception& error) {
        reject(link, message.kind, text(error));
    }
}

void HostModel::handshake(const WireMessage& message, SecureLink* link) {
    if (!message.client || isBound(link))
        throw PadError::invalid("重复或无效握手");
    if (message.channel == "control" && !m_control) {
        m_control = link;
        m_clientID = message.client;
        m_heartbeat = now();
        setStatus(kControllerConnected);
    } else if (message.channel == "audio" && m_control && !m_audio &&
               message.client == m_clientID) {
        m_audio = link;
    } else {
        throw PadError::invalid("Mac 已连接其他控制端，或连接顺序错误");
    }
    WireMessage welcome(WireMessage::Kind::welcome);
    welcome.doubleClickInterval = m_services.doubleClickInterval();
    link->send(welcome);
    setConnected(m_control && m_audio);
}

void HostModel::heartbeatReply(SecureLink* link) {
    m_heartbeat = now();
    WireMessage reply(WireMessage::Kind::heartbeat);
    reply.doubleClickInterval = m_services.doubleClickInterval();
    link->send(reply);
}

void HostModel::route(const WireMessage& message, SecureLink* link) {
    using Kind = WireMessage::Kind;
    if (!m_connected)
        throw PadError::invalid("连接尚未就绪");
    if (link == m_audio) {
        if (!m_voice)
            throw PadError::invalid("无效音频消息");
        m_voice->receive(message);
        return;
    }
    if (link != m_control)
        throw PadError::invalid("未绑定的控制通道");

    InputSink& input = *m_services.input;
    switch (message.kind) {
    case Kind::cancel:
        abortVoice(std::nullopt);
        input.releaseAll();
        return;
    case Kind::voiceBegin:
        beginVoice(message);
        return;
    case Kind::heartbeat:
        heartbeatReply(link);
        return;
    default:
        break;
    }

    // While the phone dictates, everything else on the control channel is dropped unanswered.
    if (voiceRunning())
        return;

    switch (message.kind) {
    case Kind::move:
        handleMove(message);
        return;
    case Kind::scroll:
        input.scroll(message.x.value_or(0), message.y.value_or(0), message.scrollPhase);
        return;
    case Kind::click:
        input.click(message.flag.value_or(false), message.continuingClick);
        return;
    case Kind::drag:
        if (!input.permitted())
            throw PadError::invalid("请授予辅助功能权限");
        input.setDrag(message.flag.value_or(false), message.continuingClick.value_or(false));
        return;
    case Kind::key:
        input.key(message.keyCode.value_or(0), message.modifiers.value_or(0));
        return;
    case Kind::text:
        input.type(message.text.value_or(std::string()));
        return;
    default:
        throw PadError::invalid("无效控制消息");
    }
}

void HostModel::handleMove(const WireMessage& message) {
    const double start = now();
    const double gap = start - m_timingLast;
    if (gap > kStatisticsPause) {
        m_timingStart = start;
        m_timingCount = m_timingBurst = 0;
        m_timingMaxGap = m_timingMaxWork = 0;
    } else {
        m_timingMaxGap = std::max(m_timingMaxGap, gap);
        if (gap < kStatisticsBurst)
            ++m_timingBurst;
    }
    m_timingLast = start;
    ++m_timingCount;

    m_services.input->move(TrackpadMoveBatch::samples(message));

    m_timingMaxWork = std::max(m_timingMaxWork, now() - start);
    if (start - m_timingStart >= kStatisticsPeriod) {
        qCInfo(lcTiming, "moves=%ld elapsed_ms=%f burst=%ld max_gap_ms=%f max_work_ms=%f",
               static_cast<long>(m_timingCount), (start - m_timingStart) * 1000,
               static_cast<long>(m_timingBurst), m_timingMaxGap * 1000, m_timingMaxWork * 1000);
        m_timingStart = start;
        m_timingCount = m_timingBurst = 0;
        m_timingMaxGap = m_timingMaxWork = 0;
    }
}

void HostModel::reject(SecureLink* link, WireMessage::Kind kind, const QString& reason) {
    qCCritical(lcConnection).noquote()
        << QStringLiteral("Rejected message kind=%1 reason=%2")
               .arg(QString::fromLatin1(toString(kind)), reason);
    if (!isBound(link)) {
        link->close(reason);
        return;
    }
    failVoice(reason);
}

// --- Voice ----------------------------------------------------------------------------------

void HostModel::beginVoice(const WireMessage& message) {
    if (!m_voice)
        throw PadError::invalid("请先在 Mac 选择虚拟音频输出设备");
    m_voice->begin(message, m_deviceUID.toStdString(),
                   {.code = m_hotkeyCode, .modifiers = m_hotkeyFlags, .mode = m_shortcutMode},
                   m_prepDelay);
}

void HostModel::abortVoice(const std::optional<QString>& reason) {
    if (m_voice)
        m_voice->abort(reason);
}

bool HostModel::voiceRunning() const { return m_voice && m_voice->speaking(); }

void HostModel::failVoice(const QString& reason) {
    const std::optional<Uuid> session = m_voice ? m_voice->session() : std::nullopt;
    if (session)
        qCCritical(lcVoice).noquote() << QStringLiteral("Voice failed progress=") + m_voice->progress();
    setIssue(reason);
    abortVoice(std::nullopt);
    m_services.input->releaseAll();
    if (m_control) {
        WireMessage failure(WireMessage::Kind::failure);
        failure.text = reason.toStdString();
        failure.session = session;
        m_control->send(failure);
    }
}

} // namespace quillvane
