#pragma once

#include <concepts>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "localization/AppLanguage.h"
#include "localization/AppMessage.h"

namespace quillvane {

// Anything that reads as text: placeholders take texts only.
template <class T>
concept TextArgument = std::convertible_to<const T&, std::string_view>;

// Text lookup for one resolved language. Every key is the Simplified Chinese text itself, so a
// key missing from the catalogue (and every key when no catalogue is given, as for Chinese) shows
// as written.
class AppLocalization {
public:
    // The translation of `key`, or none when the catalogue has no entry.
    using Catalogue = std::function<std::optional<std::string>(std::string_view key)>;
    // Hands out the catalogue of a resolved language; may return an empty Catalogue.
    using CatalogueSource = std::function<Catalogue(AppLanguage resolvedLanguage)>;

    AppLocalization(AppLanguage language, const CatalogueSource& catalogues,
                    const std::vector<std::string>& preferredLanguages);

    // simplifiedChinese or english, never system.
    AppLanguage language() const { return m_language; }

    // The looked-up text as it is: no placeholder is touched.
    std::string operator()(std::string_view key) const;

    // The looked-up text used as a format whose `%@` placeholders take the arguments.
    template <TextArgument First, TextArgument... Rest>
    std::string operator()(std::string_view key, const First& first, const Rest&... rest) const {
        return format(lookup(key), {std::string_view(first), std::string_view(rest)...});
    }

    std::string text(const AppMessage& message) const;

    // Translates a finished error text, including the composite ones that carry a nested reason or
    // a system status number (the number is kept exactly as written).
    std::string issue(std::string_view text) const;

    // Fills `%@` (next argument), `%N$@` (argument N, counted from 1) and `%%` (a percent sign).
    // A placeholder without a matching argument, and any other `%` sequence, is kept as written.
    static std::string format(std::string_view format,
                              const std::vector<std::string_view>& arguments);

private:
    std::string lookup(std::string_view key) const;

    AppLanguage m_language;
    Catalogue m_catalogue;
};

} // namespace quillvane
