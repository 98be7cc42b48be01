// Who gets one of the host's eight places: the phone against connections that never speak, from
// other loopback addresses (127.0.0.2 and up are local on Linux without any set-up).

#include "HostTestSupport.h"

#include "ConnectionSquatters.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

class HostAdmission : public HostFixture {
protected:
    void SetUp() override {
        HostFixture::SetUp();
        startHost();
    }

    static QHostAddress loopback(int last) {
        return QHostAddress(QStringLiteral("127.0.0.%1").arg(last));
    }

    std::unique_ptr<ConnectionSquatters> squat(int last, int count) {
        auto squatters = std::make_unique<ConnectionSquatters>(
            loopback(last), count, QStringLiteral("127.0.0.1"), m_host->port());
        squatters->start();
        return squatters;
    }
};

int ended(const std::vector<std::unique_ptr<ConnectionSquatters>>& squatters) {
    int count = 0;
    for (const auto& squatter : squatters)
        count += squatter->ended();
    return count;
}

} // namespace

// Which handshake gives way to whom is the reception's unit test; here real squatters from four
// addresses hold every place, and the phone still binds and keeps its channels.
TEST_F(HostAdmission, thePhoneBindsPastSquattersWhoNeverDisplaceItsChannels) {
    std::vector<std::unique_ptr<ConnectionSquatters>> squatters;
    for (int i = 0; i < 4; ++i)
        squatters.push_back(squat(2 + i, 6));
    // Every place is held, and every squatter has been ended and come back about once.
    ASSERT_TRUE(testing_support::waitUntil(
        [&] { return m_host->linkCount() == 8 && ended(squatters) >= 24; }, kGenerousMs));

    PhoneClient phone(*m_host->profile(), m_host->port());
    ASSERT_TRUE(phone.bind());

    // Squatters from the phone's own address too: its address then holds the most places, and
    // only the squatters' handshakes may give way.
    squatters.push_back(squat(1, 12));
    const int before = ended(squatters);
    ASSERT_TRUE(testing_support::waitUntil([&] { return ended(squatters) >= before + 36; },
                                           kGenerousMs));
    phone.control().send(WireMessage(WireMessage::Kind::heartbeat));
    EXPECT_TRUE(phone.await(phone.control(), WireMessage::Kind::heartbeat));
    EXPECT_FALSE(phone.isClosed(phone.control()) || phone.isClosed(phone.audio()));
    EXPECT_TRUE(m_host->connected());
    EXPECT_LE(m_host->linkCount(), 8);
}
