#include "VoiceRelay.h"

#include <QLoggingCategory>
#include <QPointer>

#include "Clock.h"
#include "ControllerSession.h"
#include "HostSettings.h"
#include "protocol/PadError.h"
#include "voice/VirtualMicrophonePolicy.h"
#include "voice/VoiceReceiveFailure.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcVoice, "app.quillvane.Voice", QtInfoMsg)

constexpr double kProgressInterval = 10.0;
// Keeps the shortcut held and the output running while the last played buffer leaves the device.
constexpr double kGrace = 0.2;

} // namespace

std::string VoiceRelay::preferredDevice(const std::string& saved,
                                        const std::vector<OutputDevice>& devices) {
    std::vector<std::string> available;
    for (const auto& device : devices)
        available.push_back(device.uid);
    return VirtualMicrophonePolicy::preferredUID(
        saved.empty() ? std::nullopt : std::optional<std::string>(saved), available);
}

VoiceRelay::VoiceRelay(ControllerSession& session, const HostSettings& settings,
                       InputSink& input, AudioSink& audio, MicrophoneInspector& microphone,
                       Clock& clock, QObject* parent)
    : QObject(parent), m_session(session), m_settings(settings), m_input(input), m_audio(audio),
      m_microphone(microphone), m_clock(clock) {
    using Channel = ControllerSession::Channel;
    const auto begin = [this](const WireMessage& message) { this->begin(message); };
    const auto receive = [this](const WireMessage& message) { this->receive(message); };
    session.route(Channel::control, WireMessage::Kind::voiceBegin, begin, false);
    session.route(Channel::audio, std::nullopt, receive, false);
    session.setVoice(this);
    m_audio.onFailure = [this](const std::string& text) {
        if (speaking())
            m_session.fail(QString::fromStdString(text));
    };
}

VoiceRelay::~VoiceRelay() {
    m_audio.onFailure = nullptr;
    m_session.setVoice(nullptr);
}

double VoiceRelay::now() const { return m_clock.now(); }

void VoiceRelay::begin(const WireMessage& message) {
    if (!message.session)
        throw PadError::invalid("音频缺少会话标识");
    const std::string deviceUID = m_settings.deviceUID().toStdString();
    std::vector<OutputDevice> devices;
    std::string selected;
    const auto device = VirtualMicrophonePolicy::freshDevice(
        [&] { return devices = m_audio.devices(); },
        [&] { return selected = preferredDevice(deviceUID, devices); },
        [](const OutputDevice& candidate) { return candidate.uid; });
    if (selected.empty() || !device || !device->isVirtual)
        throw PadError::invalid("请先在电脑选择虚拟音频输出设备");
    const MicrophoneState microphone = m_microphone.inspect(devices);
    if (microphone.kind != MicrophoneState::Kind::ready)
        throw PadError::invalid(microphone.message());

    const Uuid id = *message.session;
    m_voice.begin(id, now());
    m_startedAt = now();
    m_lastProgressAt = now();
    m_finishingID.reset();
    m_acceptedFrames = m_acceptedSamples = m_completedSamples = 0;
    Q_EMIT speakingChanged(true);

    m_audio.start(*device);
    m_input.endScroll();
    m_input.setDrag(false, false);
    const HostSettings::Shortcut& shortcut = m_settings.shortcut();
    m_input.beginShortcut(shortcut.code, shortcut.modifiers, shortcut.mode);

    m_clock.after(m_settings.prepDelay(), this, [this, id] {
        if (m_voice.id() != id)
            return;
        WireMessage ready(WireMessage::Kind::voiceReady);
        ready.session = id;
        m_session.sendControl(ready);
        Q_EMIT receiving();
    });
}

void VoiceRelay::receive(const WireMessage& message) {
    // Every refusal on the audio channel is logged with the utterance's progress, a packet's
    // refusal with its case and numbers.
    try {
        receiveAudio(message);
    } catch (const VoiceReceiveFailure& failure) {
        logRejected(QString::fromStdString(failure.debugDescription()));
        throw;
    } catch (const std::exception& error) {
        logRejected(QString::fromUtf8(error.what()));
        throw;
    }
}

void VoiceRelay::receiveAudio(const WireMessage& message) {
    using Kind = WireMessage::Kind;
    if (message.kind != Kind::audio && message.kind != Kind::voiceEnd)
        throw PadError::invalid("无效音频消息");
    if (!message.session)
        throw PadError::invalid("音频缺少会话标识");
    const Uuid id = *message.session;
    if (m_voice.id() != id)
        return; // a late packet of an abandoned utterance

    if (message.kind == Kind::voiceEnd) {
        if (!message.sequence)
            throw PadError::invalid("无效音频消息");
        const bool played = m_voice.end(id, *message.sequence, now());
        m_audio.finish();
        if (played)
            finish(id);
        return;
    }

    if (!message.pcm || !message.sequence)
        throw PadError::invalid("无效音频消息");
    if (message.pcm->size() % 4 != 0)
        throw PadError::invalid("无效 PCM");
    const auto samples = static_cast<std::int64_t>(message.pcm->size() / 4);
    const std::int64_t sequence = *message.sequence;
    m_voice.receive(id, sequence, samples, now());
    ++m_acceptedFrames;
    m_acceptedSamples += samples;
    QPointer<VoiceRelay> self(this);
    m_audio.enqueue(*message.pcm, [self, id, sequence, samples] {
        if (!self)
            return;
        self->m_completedSamples += samples;
        if (self->m_voice.played(id, sequence))
            self->finish(id);
    });
}

void VoiceRelay::finish(const Uuid& id) {
    if (m_finishingID == id)
        return;
    m_finishingID = id;
    m_clock.after(kGrace, this, [this, id] {
        if (m_voice.id() != id)
            return;
        abort(std::nullopt);
        WireMessage done(WireMessage::Kind::voiceDone);
        done.session = id;
        m_session.sendControl(done);
    });
}

void VoiceRelay::abort(const std::optional<QString>& reason) {
    const bool wasSpeaking = speaking();
    if (wasSpeaking)
        qCInfo(lcVoice).noquote() << QStringLiteral("Voice ended progress=") + progress();
    std::optional<std::string> why;
    if (reason)
        why = reason->toStdString();
    if (const auto failure = m_voice.cancel(why))
        m_session.sendControl(*failure);
    m_startedAt.reset();
    m_finishingID.reset();
    m_input.releaseShortcut();
    m_audio.stop();
    if (wasSpeaking)
        Q_EMIT speakingChanged(false);
}

void VoiceRelay::tick() {
    if (!m_voice.id())
        return;
    const double current = now();
    if (current - m_lastProgressAt >= kProgressInterval) {
        m_lastProgressAt = current;
        qCInfo(lcVoice).noquote() << QStringLiteral("Voice progress=") + progress();
    }
    if (m_voice.expired(current))
        m_session.fail(QStringLiteral("音频超时，已释放语音快捷键"));
}

void VoiceRelay::logRejected(const QString& detail) const {
    qCCritical(lcVoice).noquote()
        << QStringLiteral("Audio rejected detail=%1 progress=%2").arg(detail, progress());
}

QString VoiceRelay::progress() const {
    const double elapsed = m_startedAt ? now() - *m_startedAt : 0;
    return QStringLiteral("elapsed=%1 frames=%2 accepted=%3 completed=%4 pending=%5 %6")
        .arg(elapsed)
        .arg(m_acceptedFrames)
        .arg(m_acceptedSamples)
        .arg(m_completedSamples)
        .arg(m_acceptedSamples - m_completedSamples)
        .arg(QString::fromStdString(m_audio.playbackState()));
}

} // namespace quillvane
