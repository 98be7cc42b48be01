#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/xkb/LayoutKeys.h"

namespace quillvane {

// The keyboard layouts a GNOME user has chosen (org.gnome.desktop.input-sources). GNOME Shell
// gives Mutter the layout of the input source in use, with the user's XKB options, and Mutter
// turns the keysyms it is sent into keys of that layout only.
struct GnomeInputSources {
    // (type, id) pairs as stored: ("xkb", "de+nodeadkeys"), ("ibus", "libpinyin").
    using Source = std::pair<std::string, std::string>;

    std::vector<Source> sources;
    // The sources most recently used first; the first one still in `sources` is in use.
    std::vector<Source> mostRecent;
    std::vector<std::string> xkbOptions;

    // The user's settings; nullopt where GNOME's settings schema is not installed.
    static std::optional<GnomeInputSources> read();

    // The layout in use, over `fallback` (the system's layout, which GNOME starts with while the
    // user has chosen none): an XKB source names its layout and variant; an input method keeps
    // the fallback's layout, as the method's own layout cannot be read here. The options are
    // always the user's.
    LayoutKeys::Names layoutOver(LayoutKeys::Names fallback) const;
};

} // namespace quillvane
