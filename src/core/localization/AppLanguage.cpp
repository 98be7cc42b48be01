#include "AppLanguage.h"

namespace quillvane {
namespace {

// Language tags arrive as "zh_Hant_TW" from some platforms and "zh-Hant-TW" from others.
std::string normalisedTag(std::string_view tag) {
    std::string text(tag);
    for (char& c : text) {
        if (c == '_')
            c = '-';
        else if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

bool isLanguage(std::string_view tag, std::string_view code) {
    return tag == code ||
           (tag.size() > code.size() && tag.starts_with(code) && tag[code.size()] == '-');
}

AppLanguage fromPreferredLanguages(const std::vector<std::string>& preferredLanguages) {
    for (const auto& entry : preferredLanguages) {
        const std::string tag = normalisedTag(entry);
        if (isLanguage(tag, "zh"))
            return AppLanguage::simplifiedChinese;
        if (isLanguage(tag, "en"))
            return AppLanguage::english;
    }
    return AppLanguage::english;
}

} // namespace

std::string_view rawValue(AppLanguage language) {
    switch (language) {
    case AppLanguage::system:
        return "system";
    case AppLanguage::simplifiedChinese:
        return "zh-Hans";
    case AppLanguage::english:
        return "en";
    }
    return "system";
}

std::optional<AppLanguage> appLanguageFromRaw(std::string_view raw) {
    for (const AppLanguage language : kAllAppLanguages) {
        if (rawValue(language) == raw)
            return language;
    }
    return std::nullopt;
}

AppLanguage appLanguageFromStored(std::string_view stored) {
    return appLanguageFromRaw(stored).value_or(AppLanguage::system);
}

AppLanguage resolved(AppLanguage language, const std::vector<std::string>& preferredLanguages) {
    if (language != AppLanguage::system)
        return language;
    return fromPreferredLanguages(preferredLanguages);
}

} // namespace quillvane
