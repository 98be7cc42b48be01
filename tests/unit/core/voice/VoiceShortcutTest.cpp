#include <gtest/gtest.h>

#include "VoiceTestSupport.h"
#include "voice/ShortcutModifier.h"
#include "voice/VoiceShortcut.h"
#include "voice/VoiceShortcutMode.h"
#include "voice/VoiceShortcutRoute.h"
#include "voice/VoiceShortcutSession.h"

namespace quillvane {
namespace {

using Kind = ShortcutEvent::Kind;
using Events = std::vector<ShortcutEvent>;

constexpr std::uint64_t control = 0x40000, option = 0x80000, shift = 0x20000, command = 0x100000,
                        fn = 0x800000;

TEST(VoiceShortcut, pressesModifiersBeforeKeyAndReleasesInReverse) {
    EXPECT_EQ(VoiceShortcut::events(49, control | option, true),
              (Events{{59, Kind::flagsChanged, 0x40001},
                      {58, Kind::flagsChanged, 0xC0021},
                      {49, Kind::keyDown, 0xC0021}}));
    EXPECT_EQ(VoiceShortcut::events(49, control | option, false),
              (Events{{49, Kind::keyUp, 0xC0021},
                      {58, Kind::flagsChanged, 0x40001},
                      {59, Kind::flagsChanged, 0}}));
    EXPECT_EQ(VoiceShortcut::events(49, option, false),
              (Events{{49, Kind::keyUp, 0x80020}, {58, Kind::flagsChanged, 0}}));
    // Bits other than the five modifier flags (here caps lock and a device bit) are ignored.
    for (bool down : {true, false}) {
        EXPECT_EQ(VoiceShortcut::events(49, option | 0x10000 | 0x40, down),
                  VoiceShortcut::events(49, option, down));
    }
}

TEST(VoiceShortcut, holdsModifiersAlone) {
    const std::uint64_t modifiers = control | option | command;
    EXPECT_EQ(VoiceShortcut::events(-1, modifiers, true),
              (Events{{59, Kind::flagsChanged, 0x40001},
                      {58, Kind::flagsChanged, 0xC0021},
                      {55, Kind::flagsChanged, 0x1C0029}}));
    EXPECT_EQ(VoiceShortcut::events(-1, modifiers, false),
              (Events{{55, Kind::flagsChanged, 0xC0021},
                      {58, Kind::flagsChanged, 0x40001},
                      {59, Kind::flagsChanged, 0}}));

    const Events fnDown = VoiceShortcut::events(-1, fn, true);
    const Events fnUp = VoiceShortcut::events(-1, fn, false);
    EXPECT_EQ(fnDown, (Events{{63, Kind::flagsChanged, fn}}));
    EXPECT_EQ(fnUp, (Events{{63, Kind::flagsChanged, 0}}));
    EXPECT_TRUE(fnDown[0].keyDown());
    EXPECT_FALSE(fnUp[0].keyDown());
}

TEST(VoiceShortcut, everyModifierCombinationReleasesWhatItPressed) {
    for (std::uint64_t combination = 0; combination < 32; ++combination) {
        std::uint64_t modifiers = 0;
        for (std::size_t i = 0; i < shortcutModifiers.size(); ++i) {
            if (combination & (1u << i))
                modifiers |= shortcutModifiers[i].flag;
        }
        for (std::int64_t code : {-1, 49}) {
            if (code < 0 && modifiers == 0)
                continue;
            SCOPED_TRACE(testing::Message() << "code " << code << " modifiers " << modifiers);
            const Events down = VoiceShortcut::events(code, modifiers, true);
            const Events up = VoiceShortcut::events(code, modifiers, false);
            ASSERT_EQ(down.size(), up.size());
            ASSERT_FALSE(down.empty());
            // The release undoes the press event by event, mirrored.
            for (std::size_t i = 0; i < down.size(); ++i)
                EXPECT_EQ(down[i].code, up[up.size() - 1 - i].code);
            for (const ShortcutEvent& event : down)
                EXPECT_TRUE(event.keyDown()) << event.code;
            for (const ShortcutEvent& event : up)
                EXPECT_FALSE(event.keyDown()) << event.code;
            EXPECT_EQ(down.back().flags & shortcutModifierMask, modifiers);
            if (code >= 0) {
                EXPECT_EQ(up.front().flags, down.back().flags);
            }
            // Releasing walks back through the flag words the press went through, down to 0.
            std::vector<std::uint64_t> pressedStates{0}, releasedStates;
            for (const ShortcutEvent& event : down) {
                if (event.kind == Kind::flagsChanged)
                    pressedStates.push_back(event.flags);
            }
            for (const ShortcutEvent& event : up) {
                if (event.kind == Kind::flagsChanged)
                    releasedStates.push_back(event.flags);
            }
            pressedStates.pop_back();
            EXPECT_EQ(releasedStates, std::vector(pressedStates.rbegin(), pressedStates.rend()));
        }
    }
}

TEST(VoiceShortcut, refusesCodesOutOfRangeAndEmptyModifierShortcuts) {
    const std::pair<std::int64_t, std::uint64_t> refused[] = {
        {127, control}, {-2, control}, {-1, 0}, {-1, 0x10000 | 0x1}};
    for (const auto& shortcut : refused) {
        expectPadError([&] { VoiceShortcut::events(shortcut.first, shortcut.second, true); },
                       "请选择语音快捷键；仅修饰键模式需要至少一个修饰键");
    }
    EXPECT_NO_THROW(VoiceShortcut::events(126, 0, false));
}

TEST(ShortcutEvent, flagsChangedIsDownWhileItsOwnKeyIsHeld) {
    // Right Option's device bit does not make the left Option key count as held.
    EXPECT_FALSE((ShortcutEvent{58, Kind::flagsChanged, option | 0x40}).keyDown());
    EXPECT_TRUE((ShortcutEvent{56, Kind::flagsChanged, shift | 0x2}).keyDown());
    EXPECT_FALSE((ShortcutEvent{49, Kind::flagsChanged, 0xFFFFFF}).keyDown());
}

TEST(VoiceShortcutSession, holdPressesNowAndReleasesOnceAtTheEnd) {
    VoiceShortcutSession session;
    const auto action = session.begin(49, control | option, VoiceShortcutMode::hold);
    EXPECT_EQ(action,
              VoiceShortcutAction(ShortcutEvents{VoiceShortcut::events(49, 0xC0000, true)}));
    EXPECT_TRUE(session.isActive());

    expectPadError([&] { session.begin(49, control | option, VoiceShortcutMode::hold); },
                   "上一段语音快捷键尚未结束");
    EXPECT_EQ(session.end(),
              VoiceShortcutAction(ShortcutEvents{VoiceShortcut::events(49, 0xC0000, false)}));
    EXPECT_FALSE(session.isActive());
    EXPECT_EQ(session.end(), std::nullopt);
}

TEST(VoiceShortcutSession, toggleTapsAtBothEnds) {
    VoiceShortcutSession session;
    const VoiceShortcutAction tap = ShortcutTap{VoiceShortcut::events(-1, command, true),
                                                VoiceShortcut::events(-1, command, false)};
    EXPECT_EQ(session.begin(-1, command, VoiceShortcutMode::toggle), tap);
    EXPECT_EQ(session.end(), tap);
    EXPECT_EQ(session.end(), std::nullopt);
}

TEST(VoiceShortcutSession, invalidShortcutLeavesSessionInactive) {
    VoiceShortcutSession session;
    EXPECT_THROW(session.begin(-1, 0, VoiceShortcutMode::hold), PadError);
    EXPECT_FALSE(session.isActive());
    EXPECT_NO_THROW(session.begin(49, 0, VoiceShortcutMode::hold));
}

TEST(VoiceShortcutMode, readsStoredNames) {
    for (VoiceShortcutMode mode : allVoiceShortcutModes)
        EXPECT_EQ(voiceShortcutModeFromString(toString(mode)), mode);
    EXPECT_EQ(voiceShortcutModeFromString("Hold"), std::nullopt);
}

TEST(VoiceShortcutRoute, onlyReleasesBefore101GoToTheProcess) {
    for (const char* version : {"1.0.0", "0.9", "1.0", "1.0.0.9"})
        EXPECT_EQ(routeForFenwix(version), VoiceShortcutRoute::fenwixProcess) << version;
    // Equal or higher, or not a dotted list of decimal numbers (even one that reads as lower).
    for (const char* version : {"1.0.1", "1.0.1.0", "1.0.10", "2", "1.0.x", "1..0", "1.0.", "-1.0",
                                "0.99999999999999999999", ""})
        EXPECT_EQ(routeForFenwix(version), VoiceShortcutRoute::system) << version;
    EXPECT_EQ(routeForFenwix(std::nullopt), VoiceShortcutRoute::system);
    EXPECT_EQ(toString(VoiceShortcutRoute::fenwixProcess), "fenwixProcess");
}

} // namespace
} // namespace quillvane
