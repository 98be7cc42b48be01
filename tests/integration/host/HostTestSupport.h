#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "fakes/RecordingInput.h"
#include "fakes/TestHost.h"
#include "integration/IntegrationTest.h"
#include "support/EventWait.h"
#include "support/PhoneClient.h"

namespace quillvane::test {

// Every wait is bounded; the bound only keeps a broken build from hanging, it is not a timing
// requirement.
inline constexpr int kGenerousMs = 20'000;

// A real host session on loopback with recording input and audio, its key in a private file
// store and its settings in a private file.
class HostFixture : public testing_support::IntegrationTest {
protected:
    void makeHost() { m_host = &m_test.make(); }
    void startHost() {
        makeHost();
        ASSERT_TRUE(m_test.start()) << m_host->issue().toStdString();
    }
    RecordingInput m_input;
    TestHost m_test{m_input};
    HostModel* m_host = nullptr;
};

using testing_support::PhoneClient;

} // namespace quillvane::test
