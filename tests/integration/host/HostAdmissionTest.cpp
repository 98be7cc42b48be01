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

TEST_F(HostAdmission, thePhoneBindsPastSquattersWhoNeverDisplaceItsChannels) {
    struct Pattern {
        const char* name;
        int addresses;
        int each;
    };
    for (const Pattern& pattern : {Pattern{"12 from one address", 1, 12},
                                   Pattern{"6 from each of four addresses", 4, 6}}) {
        SCOPED_TRACE(pattern.name);
        std::vector<std::unique_ptr<ConnectionSquatters>> squatters;
        for (int i = 0; i < pattern.addresses; ++i)
            squatters.push_back(squat(2 + i, pattern.each));
        // Every place is held, and every squatter has been ended and come back about once.
        const int total = pattern.addresses * pattern.each;
        ASSERT_TRUE(testing_support::waitUntil(
            [&] { return m_host->linkCount() == 8 && ended(squatters) >= total; }, kGenerousMs));

        PhoneClient phone(*m_host->profile(), m_host->port());
        ASSERT_TRUE(phone.bind());

        // Squatters from the phone's own address too: its address then holds the most places,
        // and only the squatters' handshakes may give way.
        squatters.push_back(squat(1, 12));
        const int before = ended(squatters);
        ASSERT_TRUE(testing_support::waitUntil([&] { return ended(squatters) >= before + total + 12; },
                                    kGenerousMs));
        phone.control().send(WireMessage(WireMessage::Kind::heartbeat));
        EXPECT_TRUE(phone.await(phone.control(), WireMessage::Kind::heartbeat));
        EXPECT_FALSE(phone.isClosed(phone.control()) || phone.isClosed(phone.audio()));
        EXPECT_TRUE(m_host->connected());
        EXPECT_LE(m_host->linkCount(), 8);

        squatters.clear();
        phone.control().close();
        ASSERT_TRUE(testing_support::waitUntil([&] { return !m_host->connected(); }, kGenerousMs));
    }
}
