#include "HostTestSupport.h"

#include <algorithm>

#include "Random.h"

namespace quillvane::test {

std::size_t HostFixture::inputCalls(const std::string& prefix) const {
    const auto& calls = m_input.calls();
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [&](const std::string& call) { return call.starts_with(prefix); }));
}

TestController::TestController(const HostModel& host)
    : m_host(host), m_client(randomUuid()), m_control(makeChannel("control")),
      m_audio(makeChannel("audio")) {}

std::unique_ptr<ControllerChannel> TestController::makeChannel(const char* name) {
    const PairingProfile& profile = *m_host.profile();
    auto channel = std::make_unique<ControllerChannel>(QString::fromLatin1(name), profile.id,
                                                       *profile.keyData());
    const ControllerChannel* key = channel.get();
    channel->onMessage = [this, key](const WireMessage& message, const QByteArray&) {
        m_received[key].push_back(message);
    };
    channel->onClose = [this, key](const QString& reason) { m_closed[key] = reason; };
    return channel;
}

bool TestController::connect(ControllerChannel& channel) {
    channel.connectTo(QStringLiteral("127.0.0.1"), m_host.port());
    return QTest::qWaitFor([&] { return channel.isEncrypted() || isClosed(channel); },
                           kGenerousMs) &&
           channel.isEncrypted();
}

void TestController::hello(ControllerChannel& channel, const char* name) {
    WireMessage hello(WireMessage::Kind::hello);
    hello.channel = name;
    hello.client = m_client;
    channel.send(hello);
}

bool TestController::bind() {
    if (!connect(*m_control))
        return false;
    hello(*m_control, "control");
    if (!await(*m_control, WireMessage::Kind::welcome))
        return false;
    if (!connect(*m_audio))
        return false;
    hello(*m_audio, "audio");
    return await(*m_audio, WireMessage::Kind::welcome).has_value();
}

const std::vector<WireMessage>& TestController::received(const ControllerChannel& channel) const {
    static const std::vector<WireMessage> none;
    const auto found = m_received.find(&channel);
    return found == m_received.end() ? none : found->second;
}

std::optional<WireMessage> TestController::await(ControllerChannel& channel, WireMessage::Kind kind,
                                                 std::size_t skip, int timeoutMs) {
    std::optional<WireMessage> found;
    static_cast<void>(QTest::qWaitFor(
        [&] {
            std::size_t seen = 0;
            for (const auto& message : received(channel))
                if (message.kind == kind && seen++ == skip) {
                    found = message;
                    return true;
                }
            return isClosed(channel);
        },
        timeoutMs));
    return found;
}

bool TestController::awaitClosed(ControllerChannel& channel, int timeoutMs) {
    return QTest::qWaitFor([&] { return isClosed(channel); }, timeoutMs);
}

bool TestController::isClosed(const ControllerChannel& channel) const {
    return m_closed.contains(&channel);
}

WireMessage audioPacket(const Uuid& session, std::int64_t sequence, std::size_t samples) {
    WireMessage packet(WireMessage::Kind::audio);
    packet.session = session;
    packet.sequence = sequence;
    packet.pcm = Bytes(samples * 4, 0);
    return packet;
}

} // namespace quillvane::test
