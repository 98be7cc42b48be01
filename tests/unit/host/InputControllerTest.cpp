#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "InputController.h"
#include "fakes/RecordingBackend.h"
#include "protocol/PadError.h"

using namespace quillvane;
using Lines = std::vector<std::string>;

namespace {

std::string refusal(const std::function<void()>& call) {
    try {
        call();
    } catch (const PadError& error) {
        return error.message();
    }
    return "accepted";
}

class InputControllerTest : public testing::Test {
protected:
    RecordingBackend backend;
    double now = 100;
    double interval = 0.5;
    InputController input{backend, [this] { return now; }, [this] { return interval; },
                          [this](double seconds) {
                              std::ostringstream line;
                              line << "pause " << seconds;
                              backend.log.push_back(line.str());
                          }};
};

// 👋 and 42 more joined by zero-width joiners: one user-perceived character of 128 UTF-16 units.
std::string wavingChain() {
    std::string chain = "\U0001F44B";
    for (int i = 0; i < 42; ++i)
        chain += "\u200D\U0001F44B";
    return chain;
}

} // namespace

TEST_F(InputControllerTest, movePostsOneEventAtTheLastClampedPosition) {
    backend.screens = {{0, 0, 1920, 1080}, {1920, 0, 1280, 1024}};
    backend.location = TrackpadVector{1900, 500};
    input.move({{50, 0}, {2000, 0}, {0, -2000}});
    EXPECT_EQ(backend.log, (Lines{"moved 3199,0", "flush"}));

    // No display list means no clamping; no readable location means the origin.
    backend.screens.clear();
    backend.location.reset();
    backend.log.clear();
    now += 1;
    input.move({{-5, -7}});
    EXPECT_EQ(backend.log, (Lines{"moved -5,-7", "flush"}));
}

TEST_F(InputControllerTest, moveRefusesABadBatchWhole) {
    const std::string text = "无效移动事件或缺少辅助功能权限";
    EXPECT_EQ(refusal([&] { input.move({}); }), text);
    EXPECT_EQ(refusal([&] { input.move(std::vector<TrackpadVector>(65, {1, 0})); }), text);
    EXPECT_EQ(refusal([&] { input.move({{1, 0}, {NAN, 0}}); }), text);
    EXPECT_EQ(refusal([&] { input.move({{0, 2000.5}}); }), text);
    EXPECT_TRUE(backend.log.empty());

    input.move(std::vector<TrackpadVector>(64, {2000, -2000}));
    EXPECT_EQ(backend.log, (Lines{"moved 128000,-128000", "flush"}));
}

TEST_F(InputControllerTest, clicksCountByTheDesktopIntervalTheDistanceAndThePhone) {
    backend.location = TrackpadVector{10, 10};
    input.click(false, std::nullopt);
    now += 0.2;
    input.click(false, std::nullopt);
    EXPECT_EQ(backend.posted(), (Lines{"leftDown 10,10 click=1", "leftUp 10,10 click=1",
                                       "leftDown 10,10 click=2", "leftUp 10,10 click=2"}));

    auto nextClickState = [&](std::optional<bool> continuing) {
        backend.log.clear();
        input.click(false, continuing);
        return backend.log.at(0);
    };
    now += 0.6; // beyond the interval
    EXPECT_EQ(nextClickState(std::nullopt), "leftDown 10,10 click=1");
    now += 3;
    EXPECT_EQ(nextClickState(true), "leftDown 10,10 click=2");
    EXPECT_EQ(nextClickState(false), "leftDown 10,10 click=1");

    // A batch that wanders out of reach and back breaks the chain, though it ends in place.
    now += 0.1;
    input.move({{10, 0}, {-10, 0}});
    now += 0.1;
    EXPECT_EQ(nextClickState(std::nullopt), "leftDown 10,10 click=1");

    interval = 0;
    backend.log.clear();
    EXPECT_EQ(refusal([&] { input.click(true, std::nullopt); }), "无法创建点击事件");
    EXPECT_TRUE(backend.log.empty());
}

TEST_F(InputControllerTest, dragHoldsTheButtonAcrossMovesAndAClickOnlyEndsIt) {
    backend.location = TrackpadVector{10, 10};
    input.click(false, std::nullopt);
    now += 0.3;
    input.setDrag(true, true);
    input.setDrag(true, true);
    input.move({{5, 0}});
    input.click(true, std::nullopt);
    input.setDrag(false, false);
    EXPECT_EQ(backend.posted(),
              (Lines{"leftDown 10,10 click=1", "leftUp 10,10 click=1", "leftDown 10,10 click=2",
                     "leftDragged 15,10 click=2", "leftUp 15,10 click=2"}));
    EXPECT_FALSE(input.dragging());
}

TEST_F(InputControllerTest, keyPressesItsModifiersAroundItAndReleasesThemAll) {
    input.key(6, 0x100000 | 0x20000); // Command+Shift+Z
    EXPECT_EQ(backend.log, (Lines{"key 56 down", "key 55 down", "key 6 down", "key 6 up",
                                  "key 55 up", "key 56 up", "flush"}));

    // Caps lock, the keypad and device bits are stripped; Fn has no key of its own.
    backend.log.clear();
    input.key(126, ~std::uint64_t{0});
    EXPECT_EQ(backend.posted(),
              (Lines{"key 59 down", "key 58 down", "key 56 down", "key 55 down", "key 126 down",
                     "key 126 up", "key 55 up", "key 56 up", "key 58 up", "key 59 up"}));

    backend.log.clear();
    EXPECT_EQ(refusal([&] { input.key(127, 0); }), "键盘控制需要辅助功能权限");
    EXPECT_TRUE(backend.log.empty());
}

TEST_F(InputControllerTest, typeSendsUserPerceivedCharactersWithinTheLimits) {
    input.type("He\u0301 世界👋🏽");
    EXPECT_EQ(backend.log, (Lines{"text H", "text e\u0301", "text  ", "text 世", "text 界",
                                  "text 👋🏽", "flush"}));

    backend.log.clear();
    input.type(std::string(4096, 'a'));
    EXPECT_EQ(backend.posted().size(), 4096u);
    backend.log.clear();
    EXPECT_EQ(refusal([&] { input.type(std::string(4097, 'a')); }), "文字过长或缺少辅助功能权限");
    EXPECT_TRUE(backend.log.empty());

    // 128 units pass; a variation selector makes it 129 and typing stops there.
    const std::string longest = wavingChain();
    const std::string tooLong = "\U0001F44B\uFE0F" + longest.substr(4);
    EXPECT_EQ(refusal([&] { input.type("a" + longest + "b" + tooLong + "c"); }),
              "单个组合字符过长");
    EXPECT_EQ(backend.log, (Lines{"text a", "text " + longest, "text b", "flush"}));
}

TEST_F(InputControllerTest, withoutPermissionEachCallGivesItsOwnText) {
    input.scroll(0, 1, TrackpadScrollPhase::began);
    backend.log.clear();
    backend.permitted = false;
    EXPECT_FALSE(input.permitted());
    EXPECT_EQ(refusal([&] { input.move({{1, 1}}); }), "无效移动事件或缺少辅助功能权限");
    EXPECT_EQ(refusal([&] { input.scroll(0, 1, std::nullopt); }), "无效滚动事件");
    EXPECT_EQ(refusal([&] { input.click(false, std::nullopt); }), "请授予辅助功能权限");
    EXPECT_EQ(refusal([&] { input.key(0, 0); }), "键盘控制需要辅助功能权限");
    EXPECT_EQ(refusal([&] { input.type("a"); }), "文字过长或缺少辅助功能权限");
    EXPECT_EQ(refusal([&] { input.beginShortcut(49, 0xC0000, VoiceShortcutMode::hold); }),
              "请先授予辅助功能权限，并检查语音快捷键");
    EXPECT_EQ(refusal([&] { input.setDrag(true, false); }), "accepted");
    EXPECT_EQ(refusal([&] { input.endScroll(); }), "accepted");
    EXPECT_FALSE(input.dragging());
    // The open scroll was closed all the same: nothing is left to end once posting works again.
    backend.permitted = true;
    input.endScroll();
    EXPECT_TRUE(backend.log.empty());
}

TEST_F(InputControllerTest, scrollPassesPixelsAndStagesAndBreaksTheClickChain) {
    input.click(false, std::nullopt);
    input.scroll(0.4, 0, TrackpadScrollPhase::began);
    input.scroll(0.7, -3, TrackpadScrollPhase::changed);
    input.scroll(0, 0, TrackpadScrollPhase::momentumBegan);
    input.endScroll();
    input.click(false, std::nullopt);
    EXPECT_EQ(
        backend.posted(),
        (Lines{"leftDown 0,0 click=1", "leftUp 0,0 click=1", "scroll y=0 x=0 phase=1 momentum=0",
               "scroll y=-3 x=1 phase=2 momentum=0", "scroll y=0 x=0 phase=0 momentum=1",
               "scroll y=0 x=0 phase=0 momentum=3", "leftDown 0,0 click=1", "leftUp 0,0 click=1"}));
    EXPECT_EQ(refusal([&] { input.scroll(2000.5, 0, std::nullopt); }), "无效滚动事件");
}

TEST_F(InputControllerTest, holdShortcutStaysDownUntilReleasedOnce) {
    input.beginShortcut(49, 0xC0000, VoiceShortcutMode::hold);
    EXPECT_EQ(backend.log, (Lines{"key 59 down", "key 58 down", "key 49 down", "flush"}));
    backend.log.clear();
    input.releaseShortcut();
    input.releaseShortcut();
    EXPECT_EQ(backend.log, (Lines{"key 49 up", "key 58 up", "key 59 up", "flush"}));

    // Modifiers alone: Control, Option, Command down; Command, Option, Control up.
    backend.log.clear();
    input.beginShortcut(-1, 0x1C0000, VoiceShortcutMode::hold);
    input.releaseShortcut();
    EXPECT_EQ(backend.posted(), (Lines{"key 59 down", "key 58 down", "key 55 down", "key 55 up",
                                       "key 58 up", "key 59 up"}));
}

TEST_F(InputControllerTest, toggleShortcutTapsAtBothEndsWithAPause) {
    const Lines tap{"key 59 down", "key 58 down", "key 49 down", "flush", "pause 0.06",
                    "key 49 up",   "key 58 up",   "key 59 up",   "flush"};
    input.beginShortcut(49, 0xC0000, VoiceShortcutMode::toggle);
    EXPECT_EQ(backend.log, tap);
    EXPECT_TRUE(input.shortcutActive());
    backend.log.clear();
    input.releaseShortcut();
    EXPECT_EQ(backend.log, tap);
    EXPECT_FALSE(input.shortcutActive());
}

TEST_F(InputControllerTest, aShortcutThatCannotStartPostsNothingAndHoldsNothing) {
    EXPECT_EQ(refusal([&] { input.beginShortcut(127, 0, VoiceShortcutMode::hold); }),
              "请选择语音快捷键；仅修饰键模式需要至少一个修饰键");
    EXPECT_FALSE(input.shortcutActive());
    input.beginShortcut(49, 0xC0000, VoiceShortcutMode::hold);
    backend.log.clear();
    EXPECT_EQ(refusal([&] { input.beginShortcut(49, 0xC0000, VoiceShortcutMode::hold); }),
              "请先授予辅助功能权限，并检查语音快捷键");
    EXPECT_TRUE(backend.log.empty());
}

TEST_F(InputControllerTest, releaseAllLetsGoOfShortcutScrollAndDragInThatOrder) {
    input.beginShortcut(-1, 0x80000, VoiceShortcutMode::hold);
    input.scroll(0, 5, TrackpadScrollPhase::began);
    input.setDrag(true, false);
    backend.log.clear();
    input.releaseAll();
    EXPECT_EQ(backend.log, (Lines{"key 58 up", "flush", "scroll y=0 x=0 phase=8 momentum=0",
                                  "flush", "leftUp 0,0 click=1", "flush"}));
    EXPECT_FALSE(input.dragging());

    backend.log.clear();
    input.releaseAll();
    EXPECT_TRUE(backend.log.empty());
}
