#include <gtest/gtest.h>

#include "unit/core/CoreTestSupport.h"
#include "voice/ShortcutModifier.h"
#include "voice/VoiceShortcut.h"
#include "voice/VoiceShortcutRoute.h"

using namespace quillvane;
using Kind = ShortcutEvent::Kind;
using Events = std::vector<ShortcutEvent>;

namespace {

constexpr std::uint64_t control = 0x40000, option = 0x80000;

} // namespace

TEST(VoiceShortcut, pressesModifiersInOrderReleasesInReverseAndRefusesInvalidShortcuts) {
    constexpr auto flags = Kind::flagsChanged;
    // All five, each adding its own flag and side bit; release clears them in reverse.
    const Events press{{59, flags, 0x40001}, {58, flags, 0xC0021}, {56, flags, 0xE0023},
                       {55, flags, 0x1E002B}, {63, flags, 0x9E002B}};
    const Events release{{63, flags, 0x1E002B}, {55, flags, 0xE0023}, {56, flags, 0xC0021},
                         {58, flags, 0x40001}, {59, flags, 0}};
    EXPECT_EQ(VoiceShortcut::events(-1, shortcutModifierMask, true), press);
    EXPECT_EQ(VoiceShortcut::events(-1, shortcutModifierMask, false), release);
    // The key goes last and comes up first. Bits other than the five modifier flags (here caps
    // lock and a device bit) are ignored.
    EXPECT_EQ(VoiceShortcut::events(49, option | 0x10000 | 0x40, true),
              (Events{{58, flags, 0x80020}, {49, Kind::keyDown, 0x80020}}));
    EXPECT_EQ(VoiceShortcut::events(49, option, false),
              (Events{{49, Kind::keyUp, 0x80020}, {58, flags, 0}}));

    // Key codes above 126 or below -1, and a modifiers-only shortcut without a modifier.
    const std::pair<std::int64_t, std::uint64_t> refused[] = {
        {127, control}, {-2, control}, {-1, 0}, {-1, 0x10000 | 0x1}};
    for (const auto& [code, modifiers] : refused)
        EXPECT_EQ(padErrorOf([&] { VoiceShortcut::events(code, modifiers, true); }),
                  "请选择语音快捷键；仅修饰键模式需要至少一个修饰键");
    EXPECT_NO_THROW(VoiceShortcut::events(126, 0, false));
}

TEST(VoiceShortcutRoute, onlyReleasesBefore101GoToTheProcess) {
    for (const char* version : {"1.0.0", "0.9", "1.0"})
        EXPECT_EQ(routeForFenwix(version), VoiceShortcutRoute::fenwixProcess) << version;
    // Equal or higher, or not a dotted list of decimal numbers (even one that reads as lower).
    for (const char* version : {"1.0.1", "1.0.1.0", "1.0.10", "2", "1.0.x", "1..0", "-1.0", ""})
        EXPECT_EQ(routeForFenwix(version), VoiceShortcutRoute::system) << version;
    EXPECT_EQ(routeForFenwix(std::nullopt), VoiceShortcutRoute::system);
}
