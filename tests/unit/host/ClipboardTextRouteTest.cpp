#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/common/ClipboardTextRoute.h"
#include "support/EventWait.h"

using namespace quillvane;
using Lines = std::vector<std::string>;

namespace {

// A clipboard that records what was offered and when the user's content came back.
class RecordingClipboard final : public PasteClipboard {
public:
    explicit RecordingClipboard(Lines& log) : m_log(log) {}
    void offer(const std::string& text, Offered offered) override {
        m_log.push_back("offer " + text);
        offered(!refuse);
    }
    void restore() override { m_log.push_back("restore"); }
    bool delivered() const override { return read; }

    bool read = true;
    bool refuse = false;

private:
    Lines& m_log;
};

// The route's timers run while the event loop does.
void waitFor(int ms) { testing_support::runFor(std::chrono::milliseconds(ms)); }

} // namespace

// Neighbouring characters go in one paste, and the user's clipboard comes back once after it.
// That a key given after a paste waits until the pasting program had time to read the clipboard,
// and that the clipboard comes back at all, the KWin and Mutter text tests see as well.
TEST(ClipboardTextRoute, pastesInOrderAndRestoresTheUsersClipboard) {
    Lines log;
    RecordingClipboard clipboard(log);
    ClipboardTextRoute route(clipboard, [&] { log.push_back("ctrl+v"); }, [&] { log.push_back("lost"); });

    route.paste("世");
    route.paste("界");
    route.post([&] { log.push_back("key space"); });
    EXPECT_EQ(log, (Lines{"offer 世界", "ctrl+v"}));
    waitFor(ClipboardTextRoute::restoreMs + 100);
    EXPECT_EQ(log, (Lines{"offer 世界", "ctrl+v", "key space", "restore"}));

    // Letting go drops the text still waiting but never a key's release.
    log.clear();
    route.paste("é");
    route.flush();
    route.paste("ü");
    route.post([&] { log.push_back("key up"); });
    route.discardPendingText();
    waitFor(ClipboardTextRoute::settleMs + 50);
    EXPECT_EQ(log, (Lines{"offer é", "ctrl+v", "key up"}));

    // A clipboard that tells when the paste was read holds the next paste and the restore back
    // until then.
    waitFor(ClipboardTextRoute::restoreMs + 100);
    log.clear();
    clipboard.read = false;
    route.paste("世");
    route.flush();
    route.paste("界");
    route.flush();
    waitFor(ClipboardTextRoute::restoreMs + 100);
    EXPECT_EQ(log, (Lines{"offer 世", "ctrl+v"}));
    clipboard.read = true;
    waitFor(ClipboardTextRoute::settleMs);
    EXPECT_EQ(log, (Lines{"offer 世", "ctrl+v", "offer 界", "ctrl+v"}));

    // A clipboard that will not take the text: nothing is pasted, and the loss is told.
    waitFor(ClipboardTextRoute::restoreMs + 100);
    log.clear();
    clipboard.refuse = true;
    route.paste("é");
    route.flush();
    EXPECT_EQ(log, (Lines{"offer é", "lost"}));
}
