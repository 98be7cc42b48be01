#pragma once

#include <gtest/gtest.h>

#include <QtCore/qtestsupport_core.h>

#include <chrono>
#include <memory>
#include <vector>

#include "ControllerChannel.h"
#include "fakes/RecordingInput.h"
#include "fakes/TestHost.h"

namespace quillvane::test {

// Every wait is bounded; the bound only keeps a broken build from hanging, it is not a timing
// requirement.
inline constexpr int kGenerousMs = 20'000;

// A real host session on loopback with recording input and audio, its key in a private file
// store and its settings in a private file.
class HostFixture : public testing::Test {
protected:
    void makeHost() { m_host = &m_test.make(); }
    void startHost() {
        makeHost();
        ASSERT_TRUE(m_test.start()) << m_host->issue().toStdString();
    }
    // How many input calls so far begin with `prefix`.
    std::size_t inputCalls(const std::string& prefix) const;

    RecordingInput m_input;
    TestHost m_test{m_input};
    HostModel* m_host = nullptr;
};

// The phone's two channels, with everything the host sends kept per channel.
class TestController {
public:
    explicit TestController(const HostModel& host);

    ControllerChannel& control() { return *m_control; }
    ControllerChannel& audio() { return *m_audio; }

    // Both channels, in order, each waiting for its TLS handshake and then its welcome.
    bool bind();

    // Waits for a message of this kind on the channel, after the first `skip` of that kind.
    std::optional<WireMessage> await(ControllerChannel& channel, WireMessage::Kind kind,
                                     std::size_t skip = 0, int timeoutMs = kGenerousMs);
    bool awaitClosed(ControllerChannel& channel, int timeoutMs = kGenerousMs);
    bool isClosed(const ControllerChannel& channel) const;

private:
    std::unique_ptr<ControllerChannel> makeChannel(const char* name);
    bool connect(ControllerChannel& channel);
    void hello(ControllerChannel& channel, const char* name);
    const std::vector<WireMessage>& received(const ControllerChannel& channel) const;

    const HostModel& m_host;
    Uuid m_client;
    std::unique_ptr<ControllerChannel> m_control;
    std::unique_ptr<ControllerChannel> m_audio;
    std::map<const ControllerChannel*, std::vector<WireMessage>> m_received;
    std::map<const ControllerChannel*, QString> m_closed;
};

WireMessage audioPacket(const Uuid& session, std::int64_t sequence, std::size_t samples);

} // namespace quillvane::test
