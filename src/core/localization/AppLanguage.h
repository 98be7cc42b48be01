#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillvane {

// The interface language setting, persisted by its raw value. `system` follows the user's
// preferred language list and is resolved to one of the two real languages before any lookup.
enum class AppLanguage {
    system,
    simplifiedChinese,
    english,
};

inline constexpr std::array<AppLanguage, 3> kAllAppLanguages = {
    AppLanguage::system, AppLanguage::simplifiedChinese, AppLanguage::english};

// "system", "zh-Hans" or "en".
std::string_view rawValue(AppLanguage language);

// The plain raw-value constructor: no value for an unknown text.
std::optional<AppLanguage> appLanguageFromRaw(std::string_view raw);

// Reading a stored setting: an unknown text (a value written by a newer build, or edited by hand)
// falls back to following the system.
AppLanguage appLanguageFromStored(std::string_view stored);

// Never `system`: the first Chinese or English entry of `preferredLanguages` decides, any Chinese
// variant choosing Simplified Chinese; other languages are skipped and English is the last resort.
AppLanguage resolved(AppLanguage language, const std::vector<std::string>& preferredLanguages);

} // namespace quillvane
