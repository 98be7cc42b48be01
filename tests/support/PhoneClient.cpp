#include "PhoneClient.h"

#include <algorithm>

#include "Random.h"
#include "support/EventWait.h"

namespace quillvane::testing_support {

PhoneClient::PhoneClient(PairingProfile profile, quint16 port, QString host)
    : m_profile(std::move(profile)), m_host(std::move(host)), m_port(port),
      m_client(randomUuid()), m_control(makeChannel("control")), m_audio(makeChannel("audio")) {
    m_heartbeat.setInterval(1000);
    connect(&m_heartbeat, &QTimer::timeout, this, &PhoneClient::sendHeartbeat);
}

std::unique_ptr<ControllerChannel> PhoneClient::makeChannel(const char* name) {
    auto channel = std::make_unique<ControllerChannel>(QString::fromLatin1(name), m_profile.id,
                                                       *m_profile.keyData());
    ControllerChannel* self = channel.get();
    channel->onReady = [this, self, name] {
        WireMessage hello(WireMessage::Kind::hello);
        hello.channel = name;
        hello.client = m_client;
        self->send(hello);
    };
    channel->onMessage = [this, self](const WireMessage& message, const QByteArray&) {
        m_received[self].push_back(message);
        if (message.kind != WireMessage::Kind::welcome)
            return;
        if (self == m_control.get() && count(*self, WireMessage::Kind::welcome) == 1)
            m_audio->connectTo(m_host, m_port);
        else if (self == m_audio.get() && !m_boundAt)
            m_boundAt = Clock::now();
    };
    channel->onClose = [this, self](const QString& reason) {
        m_lost[self] = reason;
        m_heartbeat.stop();
    };
    return channel;
}

bool PhoneClient::bind(std::chrono::milliseconds limit) {
    m_bindStarted = Clock::now();
    m_control->connectTo(m_host, m_port);
    return waitUntil([&] { return isBound() || lost(); }, limit) && isBound();
}

void PhoneClient::sendHeartbeat() {
    ++m_heartbeatsSent;
    send(WireMessage(WireMessage::Kind::heartbeat));
}

const std::vector<WireMessage>& PhoneClient::received(const ControllerChannel& channel) const {
    static const std::vector<WireMessage> none;
    const auto found = m_received.find(&channel);
    return found == m_received.end() ? none : found->second;
}

std::size_t PhoneClient::count(const ControllerChannel& channel, WireMessage::Kind kind) const {
    const auto& messages = received(channel);
    return static_cast<std::size_t>(
        std::count_if(messages.begin(), messages.end(),
                      [&](const WireMessage& message) { return message.kind == kind; }));
}

int PhoneClient::heartbeatAnswers() const {
    return static_cast<int>(count(*m_control, WireMessage::Kind::heartbeat));
}

std::vector<std::string> PhoneClient::failures() const {
    std::vector<std::string> texts;
    for (const WireMessage& message : received(*m_control))
        if (message.kind == WireMessage::Kind::failure)
            texts.push_back(message.text.value_or(std::string()));
    return texts;
}

std::optional<WireMessage> PhoneClient::await(ControllerChannel& channel, WireMessage::Kind kind,
                                              std::size_t skip, int timeoutMs) {
    std::optional<WireMessage> found;
    waitUntil(
        [&] {
            std::size_t seen = 0;
            for (const auto& message : received(channel))
                if (message.kind == kind && seen++ == skip) {
                    found = message;
                    return true;
                }
            return isClosed(channel);
        },
        timeoutMs);
    return found;
}

bool PhoneClient::awaitClosed(ControllerChannel& channel, int timeoutMs) {
    return waitUntil([&] { return isClosed(channel); }, timeoutMs);
}

void PhoneClient::closeControl() {
    m_heartbeat.stop();
    m_control->close();
}

void PhoneClient::close() {
    closeControl();
    m_audio->close();
}

std::optional<QString> PhoneClient::lost(const ControllerChannel& channel) const {
    const auto found = m_lost.find(&channel);
    return found == m_lost.end() ? std::nullopt : std::optional(found->second);
}

} // namespace quillvane::testing_support
