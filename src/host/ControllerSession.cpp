#include "ControllerSession.h"

#include <QLoggingCategory>

#include "Clock.h"
#include "InputSink.h"
#include "VoiceRelay.h"
#include "net/LinkReception.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcConnection, "app.quillvane.HostConnection", QtInfoMsg)
Q_LOGGING_CATEGORY(lcVoice, "app.quillvane.Voice", QtInfoMsg)

using Kind = WireMessage::Kind;

[[noreturn]] void refuse(const char* text) { throw PadError::invalid(text); }

} // namespace

ControllerSession::ControllerSession(Clock& clock, InputSink* input,
                                     std::function<double()> doubleClickInterval, QObject* parent)
    : QObject(parent), m_clock(clock), m_input(input),
      m_doubleClickInterval(std::move(doubleClickInterval)) {
    // The session's own kinds, and what the table answers when no handler took a kind.
    route(Channel::control, Kind::cancel, [this](const WireMessage&) { cancel(); }, false);
    route(Channel::control, Kind::heartbeat, [this](const WireMessage&) { heartbeat(); }, false);
    route(Channel::control, Kind::voiceBegin,
          [](const WireMessage&) { refuse("请先在电脑选择虚拟音频输出设备"); }, false);
    route(Channel::control, std::nullopt, [](const WireMessage&) { refuse("无效控制消息"); });
    route(Channel::audio, std::nullopt, [](const WireMessage&) { refuse("无效音频消息"); }, false);
}

void ControllerSession::route(Channel channel, std::optional<WireMessage::Kind> kind,
                              Handler handler, bool gated) {
    m_routes[{channel, kind}] = Route{std::move(handler), gated};
}

void ControllerSession::serve(LinkReception& reception) {
    reception.onMessage = [this](Link& link, const WireMessage& message) { receive(link, message); };
    reception.onClose = [this](Link& link, const std::optional<QString>& reason) {
        closed(link, reason);
    };
    reception.isBound = [this](const Link& link) { return isBound(link); };
}

void ControllerSession::receive(Link& link, const WireMessage& message) {
    try {
        if (message.kind == Kind::hello)
            handshake(link, message);
        else
            dispatch(link, message);
    } catch (const std::exception& error) {
        reject(link, message.kind, QString::fromUtf8(error.what()));
    }
}

void ControllerSession::handshake(Link& link, const WireMessage& message) {
    if (!message.client || isBound(link))
        refuse("重复或无效握手");
    if (message.channel == "control" && !m_control) {
        m_control = &link;
        m_clientID = message.client;
        m_heartbeat = m_clock.now();
    } else if (message.channel == "audio" && m_control && !m_audio &&
               message.client == m_clientID) {
        m_audio = &link;
    } else {
        refuse("电脑已连接其他控制端，或连接顺序错误");
    }
    WireMessage welcome(Kind::welcome);
    welcome.doubleClickInterval = m_doubleClickInterval();
    link.send(welcome);
    Q_EMIT bindingChanged();
}

void ControllerSession::dispatch(Link& link, const WireMessage& message) {
    if (!connected())
        refuse("连接尚未就绪");
    Channel channel = Channel::control;
    if (&link == m_audio)
        channel = Channel::audio;
    else if (&link != m_control)
        refuse("未绑定的控制通道");

    auto found = m_routes.find({channel, message.kind});
    if (found == m_routes.end())
        found = m_routes.find({channel, std::nullopt});
    // While the phone dictates, every gated kind is dropped unanswered, invalid ones included.
    if (found->second.gated && speaking())
        return;
    found->second.handle(message);
}

void ControllerSession::reject(Link& link, WireMessage::Kind kind, const QString& reason) {
    qCCritical(lcConnection).noquote()
        << QStringLiteral("Rejected message kind=%1 reason=%2")
               .arg(QString::fromLatin1(toString(kind)), reason);
    if (!isBound(link)) {
        link.close(reason);
        return;
    }
    fail(reason);
}

void ControllerSession::fail(const QString& reason) {
    const std::optional<Uuid> session = m_voice ? m_voice->session() : std::nullopt;
    if (session)
        qCCritical(lcVoice).noquote()
            << QStringLiteral("Voice failed progress=") + m_voice->progress();
    Q_EMIT issueRaised(reason);
    if (m_voice)
        m_voice->abort(std::nullopt);
    releaseAll();
    WireMessage failure(Kind::failure);
    failure.text = reason.toStdString();
    failure.session = session;
    sendControl(failure);
}

void ControllerSession::sendControl(const WireMessage& message) {
    if (m_control)
        m_control->send(message);
}

void ControllerSession::cancel() {
    if (m_voice)
        m_voice->abort(std::nullopt);
    releaseAll();
}

void ControllerSession::heartbeat() {
    m_heartbeat = m_clock.now();
    WireMessage reply(Kind::heartbeat);
    reply.doubleClickInterval = m_doubleClickInterval();
    sendControl(reply);
}

void ControllerSession::closed(Link& link, const std::optional<QString>& reason) {
    qCInfo(lcConnection).noquote()
        << QStringLiteral("Peer closed reason=") + reason.value_or(QStringLiteral("none"));
    // Losing either channel drops the whole controller, and with it every held key and button.
    if (isBound(link))
        disconnect();
}

void ControllerSession::disconnect() {
    const QPointer<Link> control = std::exchange(m_control, nullptr);
    const QPointer<Link> audio = std::exchange(m_audio, nullptr);
    m_clientID.reset();
    if (m_voice)
        m_voice->abort(std::nullopt);
    releaseAll();
    if (control)
        control->close();
    if (audio)
        audio->close();
    Q_EMIT bindingChanged();
}

void ControllerSession::tick() {
    if (m_control && m_clock.now() - m_heartbeat > heartbeatLimit) {
        disconnect();
        Q_EMIT issueRaised(QStringLiteral("连接中断，已释放所有按键"));
    }
    if (m_voice)
        m_voice->tick();
}

bool ControllerSession::speaking() const { return m_voice && m_voice->speaking(); }

void ControllerSession::releaseAll() {
    if (m_input)
        m_input->releaseAll();
}

} // namespace quillvane
