// Who gets one of the eight places, and what becomes of those that do not, over fake links.

#include <gtest/gtest.h>

#include "fakes/FakeClock.h"
#include "fakes/FakeLink.h"
#include "net/LinkReception.h"

using namespace quillvane;

namespace {

class Reception : public testing::Test {
protected:
    Reception() {
        m_reception.onClose = [this](Link&, const std::optional<QString>&) { ++m_closed; };
    }

    // A link from 10.0.0.`last` that has begun its handshake, or is silent.
    FakeLink& arrive(int last, bool silent = false) {
        auto* link = new FakeLink(QStringLiteral("10.0.0.%1").arg(last).toLatin1().constData());
        link->authenticated = false;
        link->silent = silent;
        m_reception.receive(link);
        EXPECT_TRUE(link->started);
        return *link;
    }

    FakeClock m_clock;
    LinkReception m_reception{m_clock};
    int m_closed = 0;
};

} // namespace

TEST_F(Reception, aNewcomerTakesThePlaceOfTheOldestHandshakeOfTheLargestShare) {
    // Oldest of all a lone handshake from .3, then six from .2 and one from .4: the table is full.
    std::vector<FakeLink*> links;
    for (int last : {3, 2, 2, 2, 2, 2, 2, 4})
        links.push_back(&arrive(last));
    EXPECT_EQ(m_reception.size(), 8u);
    // The second from .4 leaves .2 holding the most, so .2's oldest gives way, not .3's; it is
    // ended without a close report, as a flood would otherwise log a line for each.
    links.push_back(&arrive(4));
    for (std::size_t i = 0; i < links.size(); ++i)
        EXPECT_EQ(links[i]->isClosed(), i == 1) << "link " << i;
    EXPECT_EQ(m_closed, 0);
    EXPECT_EQ(m_reception.size(), 8u);
}

TEST_F(Reception, anAuthenticatedLinkKeepsItsPlaceAndANewcomerWithNoLargerShareIsParked) {
    FakeLink& phone = arrive(1);
    phone.authenticated = true;
    std::vector<FakeLink*> links;
    for (int i = 0; i < 7; ++i)
        links.push_back(&arrive(10 + i));
    // Every address holds one handshake: no share is larger than the newcomer's would be, so
    // the newcomer gets no place. It stays open outside the table, costing nothing, until it
    // speaks: then it is closed at once, so that it retries.
    FakeLink& newcomer = arrive(1);
    EXPECT_FALSE(newcomer.isClosed());
    EXPECT_EQ(m_reception.size(), 8u);
    newcomer.deliver(WireMessage(WireMessage::Kind::hello));
    EXPECT_TRUE(newcomer.isClosed());
    EXPECT_FALSE(phone.isClosed());
    for (FakeLink* link : links)
        EXPECT_FALSE(link->isClosed());
}

TEST_F(Reception, aSilentLinkThatLosesItsPlaceIsParkedAndTheOldestParkedGoFirst) {
    std::vector<FakeLink*> squatters;
    for (int i = 0; i < 8; ++i)
        squatters.push_back(&arrive(2, true));
    // A phone from another address displaces the oldest squatter, which never spoke: it is
    // parked rather than closed, so it does not come straight back for the next place.
    arrive(1);
    EXPECT_FALSE(squatters[0]->isClosed());
    for (std::size_t i = 0; i < LinkReception::kMaximumParked; ++i)
        arrive(3, true);
    EXPECT_TRUE(squatters[0]->isClosed()) << "parked links beyond the bound close oldest first";
    m_reception.closeAll();
    for (FakeLink* squatter : squatters)
        EXPECT_TRUE(squatter->isClosed());
    EXPECT_EQ(m_reception.size(), 0u);
}
