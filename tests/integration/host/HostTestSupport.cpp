#include "HostTestSupport.h"

#include <algorithm>

namespace quillvane::test {

std::size_t HostFixture::inputCalls(const std::string& prefix) const {
    const auto& calls = m_input.calls();
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [&](const std::string& call) { return call.starts_with(prefix); }));
}

WireMessage audioPacket(const Uuid& session, std::int64_t sequence, std::size_t samples) {
    WireMessage packet(WireMessage::Kind::audio);
    packet.session = session;
    packet.sequence = sequence;
    packet.pcm = Bytes(samples * 4, 0);
    return packet;
}

} // namespace quillvane::test
