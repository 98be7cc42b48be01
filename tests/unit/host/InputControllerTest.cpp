#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "InputController.h"
#include "fakes/RecordingBackend.h"
#include "unit/core/CoreTestSupport.h"

using namespace quillvane;
using Lines = std::vector<std::string>;

namespace {

class InputControllerTest : public testing::Test {
protected:
    // What was posted since the last look.
    Lines taken() { return std::exchange(backend.log, {}); }

    RecordingBackend backend;
    InputController input{
        backend, [] { return 100.0; }, [] { return 0.5; },
        [this](double seconds) { backend.log.push_back("pause " + std::to_string(seconds)); }};
};

} // namespace

TEST_F(InputControllerTest, aMovePostsOneEventAtTheLastClampedPosition) {
    backend.screens = {{0, 0, 1920, 1080}, {1920, 0, 1280, 1024}};
    backend.location = TrackpadVector{1900, 500};
    input.move({{50, 0}, {2000, 0}, {0, -2000}});
    EXPECT_EQ(taken(), (Lines{"moved 3199,0", "flush"}));

    // The largest batch the phone may send passes whole.
    backend.screens.clear();
    input.move(std::vector<TrackpadVector>(64, {2000, -2000}));
    EXPECT_EQ(taken(), (Lines{"moved 131199,-128000", "flush"}));
}

// Where the backend moves the pointer by motion, the batch's sum is posted unclamped from
// wherever the pointer is, and clicks and drags post their buttons alone.
TEST_F(InputControllerTest, aRelativeBackendMovesByTheBatchSumWithoutClamping) {
    backend.relative = true;
    backend.screens = {{0, 0, 100, 100}};
    backend.location.reset();
    input.move({{-50, 0}, {-2000, 30}});
    input.setDrag(true, false);
    input.move({{3, 4}});
    input.setDrag(false, false);
    EXPECT_EQ(taken(), (Lines{"moveBy -2050,30", "flush", "leftDown -2050,30 click=1", "flush",
                              "moveBy 3,4", "flush", "leftUp -2047,34 click=1", "flush"}));
}

TEST_F(InputControllerTest, refusalsGiveEachCallItsOwnTextAndPostNothing) {
    const std::string badMove = "无效移动事件或缺少辅助功能权限";
    const std::string badText = "文字过长或缺少辅助功能权限";
    const std::string badShortcut = "请先授予辅助功能权限，并检查语音快捷键";
    input.scroll(0, 1, TrackpadScrollPhase::began);
    taken();
    const auto move = [&](std::vector<TrackpadVector> deltas) {
        return [&, deltas] { input.move(deltas); };
    };
    // Whether posting is permitted, the call, and the text it is refused with.
    const std::vector<std::tuple<bool, std::function<void()>, std::string>> cases{
        {true, move({}), badMove},
        {true, move(std::vector<TrackpadVector>(65, {1, 0})), badMove},
        {true, move({{1, 0}, {NAN, 0}}), badMove},
        {true, move({{0, 2000.5}}), badMove},
        {true, [&] { input.scroll(2000.5, 0, std::nullopt); }, "无效滚动事件"},
        {true, [&] { input.key(127, 0); }, "键盘控制需要辅助功能权限"},
        {true, [&] { input.type(std::string(4097, 'a')); }, badText},
        {true, [&] { input.beginShortcut(127, 0, VoiceShortcutMode::hold); },
         "请选择语音快捷键；仅修饰键模式需要至少一个修饰键"},
        {false, move({{1, 1}}), badMove},
        {false, [&] { input.scroll(0, 1, std::nullopt); }, "无效滚动事件"},
        {false, [&] { input.click(false, std::nullopt); }, "请授予辅助功能权限"},
        {false, [&] { input.key(0, 0); }, "键盘控制需要辅助功能权限"},
        {false, [&] { input.type("a"); }, badText},
        {false, [&] { input.beginShortcut(49, 0xC0000, VoiceShortcutMode::hold); }, badShortcut},
        // The host checks the permission before a drag; letting go must never fail.
        {false, [&] { input.setDrag(true, false); }, "<no error>"},
        {false, [&] { input.endScroll(); }, "<no error>"},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [permitted, call, text] = cases[i];
        backend.permitted = permitted;
        EXPECT_EQ(padErrorOf(call), text) << "case " << i;
    }
    EXPECT_TRUE(backend.log.empty());
    EXPECT_FALSE(input.dragging());
    EXPECT_FALSE(input.shortcutActive());
}

TEST_F(InputControllerTest, modifiersGoDownBeforeTheKeyAndUpAfterItInReverse) {
    // Command+Shift+Z is this desktop's Control+Shift+Z.
    input.key(6, 0x120000);
    EXPECT_EQ(taken(), (Lines{"key 59 down", "key 56 down", "key 6 down", "key 6 up", "key 56 up",
                              "key 59 up", "flush"}));
    // Every other flag bit (Caps Lock, keypad, device bits) presses nothing; Fn has no key;
    // Command and Control together press Control once.
    input.key(126, ~std::uint64_t{0});
    EXPECT_EQ(taken(),
              (Lines{"key 59 down", "key 58 down", "key 56 down", "key 126 down", "key 126 up",
                     "key 56 up", "key 58 up", "key 59 up", "flush"}));
    // The Command key itself is still the Super key.
    input.key(55, 0x100000);
    EXPECT_EQ(taken(), (Lines{"key 55 down", "key 55 up", "flush"}));
    // A modifier key carrying its own flag is pressed once.
    input.key(56, 0x20000);
    EXPECT_EQ(taken(), (Lines{"key 56 down", "key 56 up", "flush"}));
}

TEST_F(InputControllerTest, typeSendsUserPerceivedCharactersWithinTheLimits) {
    input.type("He\u0301 世界👋🏽");
    EXPECT_EQ(taken(), (Lines{"text H", "text e\u0301", "text  ", "text 世", "text 界",
                              "text 👋🏽", "flush"}));
    input.type(std::string(4096, 'a'));
    EXPECT_EQ(taken().size(), 4097u);

    // 👋 joined to 42 more by zero-width joiners is one character of 128 UTF-16 units, which
    // passes; a variation selector makes it 129, and typing stops there.
    std::string longest = "\U0001F44B";
    for (int i = 0; i < 42; ++i)
        longest += "\u200D\U0001F44B";
    const std::string tooLong = "\U0001F44B\uFE0F" + longest.substr(4);
    EXPECT_EQ(padErrorOf([&] { input.type("a" + longest + "b" + tooLong + "c"); }),
              "单个组合字符过长");
    EXPECT_EQ(taken(), (Lines{"text a", "text " + longest, "text b", "flush"}));

    // A character the backend cannot type stops the text as visibly.
    EXPECT_EQ(padErrorOf([&] { input.type("a\ab"); }), "无法在这个桌面输入文字中的字符");
    EXPECT_EQ(taken(), (Lines{"text a", "flush"}));
    // So does one the desktop refuses after type() returned.
    std::string late;
    input.setLateFailureHandler([&](const std::string& reason) { late = reason; });
    backend.loseText();
    EXPECT_EQ(late, "剪贴板不可用，文字未能输入");
}

TEST_F(InputControllerTest, theVoiceShortcutIsHeldOrTappedAndOnlyOnceAtATime) {
    const Lines down{"key 59 down", "key 58 down", "key 49 down", "flush"};
    const Lines up{"key 49 up", "key 58 up", "key 59 up", "flush"};
    input.beginShortcut(49, 0xC0000, VoiceShortcutMode::hold);
    EXPECT_EQ(taken(), down);
    EXPECT_EQ(padErrorOf([&] { input.beginShortcut(49, 0xC0000, VoiceShortcutMode::hold); }),
              "请先授予辅助功能权限，并检查语音快捷键");
    input.releaseShortcut();
    input.releaseShortcut();
    EXPECT_EQ(taken(), up);

    Lines tap = down;
    tap.push_back("pause 0.060000");
    tap.insert(tap.end(), up.begin(), up.end());
    input.beginShortcut(49, 0xC0000, VoiceShortcutMode::toggle);
    EXPECT_EQ(taken(), tap);
    EXPECT_TRUE(input.shortcutActive());
    input.releaseShortcut();
    EXPECT_EQ(taken(), tap);
    EXPECT_FALSE(input.shortcutActive());
}

// A backend that loses its desktop lets go through the same call; the Wayland loss tests see no
// drag held after it.
TEST_F(InputControllerTest, releaseAllLetsGoOfShortcutScrollAndDragInThatOrder) {
    input.beginShortcut(-1, 0x80000, VoiceShortcutMode::hold);
    input.scroll(0, 5, TrackpadScrollPhase::began);
    input.setDrag(true, false);
    taken();
    input.releaseAll();
    EXPECT_EQ(taken(), (Lines{"key 58 up", "flush", "scroll 0,0 phase=8", "flush",
                              "leftUp 0,0 click=1", "flush"}));
    input.releaseAll();
    EXPECT_TRUE(backend.log.empty());
}
