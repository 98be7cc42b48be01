#include <gtest/gtest.h>

#include "PairingTestSupport.h"
#include "pairing/ConnectionResume.h"
#include "pairing/HostPresence.h"

using namespace quillvane;
using namespace quillvane::test;

const Uuid kFirstPass = *Uuid::parse("11111111-1111-4111-8111-111111111111");
const Uuid kSecondPass = *Uuid::parse("22222222-2222-4222-8222-222222222222");

TEST(ConnectionResume, resumesOnceUnlessCancelled) {
    ConnectionResume resume;
    resume.suspend(true);
    resume.suspend(false);
    EXPECT_TRUE(resume.takeResume());
    EXPECT_FALSE(resume.takeResume());
    resume.suspend(true);
    resume.cancel();
    EXPECT_FALSE(resume.takeResume());
}

TEST(HostPresence, showsOnlyTheCurrentPassAndTheConnectedMac) {
    HostPresence presence;
    presence.begin(kFirstPass);
    presence.begin(kSecondPass);
    presence.update({kOfficeID}, kFirstPass);
    EXPECT_TRUE(presence.searching());
    // A result replaces the set and ends the search, even an empty one.
    presence.update({kStudioID, kOfficeID}, kSecondPass);
    presence.update({}, kSecondPass);
    EXPECT_FALSE(presence.searching());
    EXPECT_TRUE(presence.onlineIDs().empty());
    EXPECT_TRUE(presence.isOnline(kOfficeID, kOfficeID));
}
