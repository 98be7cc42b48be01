// Which layout Mutter types with, from what a GNOME user has chosen.

#include <gtest/gtest.h>

#include "platform/mutter/GnomeInputSources.h"

namespace quillvane {
namespace {

using Names = LayoutKeys::Names;

TEST(GnomeInputSourcesTest, theSourceInUseNamesTheLayoutAndTheUsersOptionsReplaceTheSystems) {
    const Names system{.layout = "fr", .model = "pc105", .options = "ctrl:nocaps"};
    const GnomeInputSources::Source us{"xkb", "us"}, german{"xkb", "de+nodeadkeys"},
        pinyin{"ibus", "libpinyin"}, removed{"xkb", "ru"};
    const auto layout = [&](std::vector<GnomeInputSources::Source> sources,
                            std::vector<GnomeInputSources::Source> mostRecent,
                            std::vector<std::string> options = {}) {
        return GnomeInputSources{std::move(sources), std::move(mostRecent), std::move(options)}
            .layoutOver(system);
    };
    // The most recent source still chosen is in use; before any switch, the first one.
    EXPECT_EQ(layout({us, german}, {removed, german, us}, {"lv3:ralt_switch", "eurosign:e"}),
              (Names{"de", "nodeadkeys", "pc105", "lv3:ralt_switch,eurosign:e"}));
    EXPECT_EQ(layout({german, us}, {}), (Names{"de", "nodeadkeys", "pc105", ""}));
    // An input method, or no source at all, keeps the system's layout.
    EXPECT_EQ(layout({us, pinyin}, {pinyin}), (Names{"fr", "", "pc105", ""}));
    EXPECT_EQ(layout({}, {}, {"compose:ralt"}), (Names{"fr", "", "pc105", "compose:ralt"}));
}

} // namespace
} // namespace quillvane
