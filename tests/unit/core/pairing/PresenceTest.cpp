#include <set>

#include <gtest/gtest.h>

#include "PairingTestSupport.h"
#include "pairing/ConnectionResume.h"
#include "pairing/HostPresence.h"

namespace quillvane {
namespace {

using namespace test;

const Uuid kFirstPass = uuid("11111111-1111-4111-8111-111111111111");
const Uuid kSecondPass = uuid("22222222-2222-4222-8222-222222222222");

TEST(ConnectionResume, resumesOnceUnlessCancelled) {
    ConnectionResume resume;
    resume.suspend(false);
    EXPECT_FALSE(resume.takeResume());
    resume.suspend(true);
    resume.suspend(false);
    EXPECT_TRUE(resume.takeResume());
    EXPECT_FALSE(resume.takeResume());
    resume.suspend(true);
    resume.cancel();
    EXPECT_FALSE(resume.takeResume());
}

TEST(HostPresence, acceptsOnlyResultsOfTheCurrentPass) {
    HostPresence presence;
    EXPECT_EQ(presence.begin(kFirstPass), kFirstPass);
    presence.update({kStudioID}, kFirstPass);
    presence.begin(kSecondPass);
    EXPECT_TRUE(presence.searching());
    EXPECT_TRUE(presence.onlineIDs().empty());

    EXPECT_FALSE(presence.accepts(kFirstPass));
    presence.update({kOfficeID}, kFirstPass);
    EXPECT_TRUE(presence.searching());
    EXPECT_TRUE(presence.onlineIDs().empty());

    presence.update({kStudioID, kOfficeID}, kSecondPass);
    presence.update({kAtticID}, kSecondPass);
    EXPECT_FALSE(presence.searching());
    EXPECT_EQ(presence.onlineIDs(), std::set<Uuid>{kAtticID});

    presence.stop();
    presence.update({kOfficeID}, kSecondPass);
    EXPECT_TRUE(presence.onlineIDs().empty());
    EXPECT_FALSE(presence.discovery());
}

TEST(HostPresence, emptyResultStillEndsTheSearch) {
    HostPresence presence;
    presence.begin(kFirstPass);
    presence.update({}, kFirstPass);
    EXPECT_FALSE(presence.searching());
}

TEST(HostPresence, connectedMacCountsAsOnline) {
    HostPresence presence;
    EXPECT_TRUE(presence.isOnline(kStudioID, kStudioID));
    EXPECT_FALSE(presence.isOnline(kStudioID, std::nullopt));
    presence.begin(kFirstPass);
    presence.update({kOfficeID}, kFirstPass);
    EXPECT_TRUE(presence.isOnline(kOfficeID, kStudioID));
    EXPECT_FALSE(presence.isOnline(kAtticID, kStudioID));
}

} // namespace
} // namespace quillvane
