#include "SessionClient.h"

#include "Random.h"

namespace quillvane::bench {

SessionClient::SessionClient(PairingProfile profile, QString host, quint16 port, QObject* parent)
    : QObject(parent), m_profile(std::move(profile)), m_host(std::move(host)), m_port(port),
      m_client(randomUuid()) {
    m_heartbeat.setInterval(1000);
    connect(&m_heartbeat, &QTimer::timeout, this, &SessionClient::sendHeartbeat);
}

void SessionClient::bind() {
    m_control = makeChannel("control");
    m_bindStarted = Clock::now();
    m_control->connectTo(m_host, m_port);
}

void SessionClient::startHeartbeats() {
    m_heartbeat.start();
}

void SessionClient::sendHeartbeat() {
    ++m_heartbeatsSent;
    send(WireMessage(WireMessage::Kind::heartbeat));
}

void SessionClient::send(const WireMessage& message) {
    if (m_control)
        m_control->send(message);
}

void SessionClient::closeControl() {
    m_heartbeat.stop();
    if (m_control)
        m_control->close();
}

void SessionClient::close() {
    closeControl();
    if (m_audio)
        m_audio->close();
}

std::unique_ptr<ControllerChannel> SessionClient::makeChannel(const char* name) {
    auto channel = std::make_unique<ControllerChannel>(QString::fromLatin1(name), m_profile.id,
                                                       *m_profile.keyData());
    ControllerChannel* self = channel.get();
    channel->onReady = [this, self, name] { sendHello(*self, name); };
    channel->onMessage = [this, self](const WireMessage& message, const QByteArray&) {
        received(*self, message);
    };
    channel->onClose = [this, self](const QString& reason) {
        (self == m_control.get() ? m_controlLost : m_audioLost) = reason;
        m_heartbeat.stop();
    };
    return channel;
}

void SessionClient::sendHello(ControllerChannel& channel, const char* name) {
    WireMessage hello(WireMessage::Kind::hello);
    hello.channel = name;
    hello.client = m_client;
    channel.send(hello);
}

void SessionClient::received(const ControllerChannel& channel, const WireMessage& message) {
    switch (message.kind) {
    case WireMessage::Kind::welcome:
        if (&channel == m_control.get() && !m_audio) {
            m_audio = makeChannel("audio");
            m_audio->connectTo(m_host, m_port);
        } else if (&channel == m_audio.get() && !m_boundAt) {
            m_boundAt = Clock::now();
        }
        break;
    case WireMessage::Kind::heartbeat:
        ++m_heartbeatAnswers;
        break;
    case WireMessage::Kind::failure:
        m_failures.push_back(message.text.value_or(std::string()));
        break;
    default:
        break;
    }
}

} // namespace quillvane::bench
