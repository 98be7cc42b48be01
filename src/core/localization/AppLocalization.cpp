#include "AppLocalization.h"

#include <array>
#include <charconv>
#include <cstdint>

namespace quillvane {
namespace {

constexpr std::string_view kMicrophoneUnavailable = "Quillvane Microphone 不可用：";
constexpr std::string_view kMicrophoneUnavailableFormat = "Quillvane Microphone 不可用：%@";

// Failures that append a system status number in full-width brackets.
constexpr std::array<std::string_view, 5> kStatusPrefixes = {
    "无法读取配对钥匙串",
    "无法保存配对钥匙串",
    "无法删除配对",
    "无法打开所选音频设备",
    "无法发布局域网服务",
};
constexpr std::string_view kOpenBracket = "（";
constexpr std::string_view kCloseBracket = "）";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// An optional sign and one or more digits whose value fits a signed 64-bit integer.
bool isStatusNumber(std::string_view text) {
    std::string_view digits = text;
    if (!digits.empty() && (digits.front() == '+' || digits.front() == '-'))
        digits.remove_prefix(1);
    if (digits.empty())
        return false;
    for (const char c : digits) {
        if (!isDigit(c))
            return false;
    }
    // from_chars takes a minus sign but not a plus, and a minus is needed to accept INT64_MIN.
    const std::string_view parsed = text.front() == '+' ? digits : text;
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(parsed.data(), parsed.data() + parsed.size(), value);
    return error == std::errc() && end == parsed.data() + parsed.size();
}

// The status number of `text` when it reads exactly prefix（number）.
std::optional<std::string_view> statusNumber(std::string_view text, std::string_view prefix) {
    if (!text.starts_with(prefix))
        return std::nullopt;
    text.remove_prefix(prefix.size());
    if (!text.starts_with(kOpenBracket) || !text.ends_with(kCloseBracket) ||
        text.size() < kOpenBracket.size() + kCloseBracket.size())
        return std::nullopt;
    text.remove_prefix(kOpenBracket.size());
    text.remove_suffix(kCloseBracket.size());
    if (!isStatusNumber(text))
        return std::nullopt;
    return text;
}

// Reads the N of `%N$@` starting at `position` (just after the '%'); on success moves `position`
// past the '@'.
std::optional<std::size_t> positionalIndex(std::string_view format, std::size_t& position) {
    std::size_t cursor = position;
    std::size_t index = 0;
    while (cursor < format.size() && isDigit(format[cursor])) {
        index = index * 10 + static_cast<std::size_t>(format[cursor] - '0');
        if (index > format.size())
            return std::nullopt;
        ++cursor;
    }
    if (cursor == position || index == 0 || format.substr(cursor, 2) != "$@")
        return std::nullopt;
    position = cursor + 2;
    return index;
}

} // namespace

AppLocalization::AppLocalization(AppLanguage language, const CatalogueSource& catalogues,
                                 const std::vector<std::string>& preferredLanguages)
    : m_language(resolved(language, preferredLanguages)) {
    if (catalogues)
        m_catalogue = catalogues(m_language);
}

std::string AppLocalization::lookup(std::string_view key) const {
    if (m_catalogue) {
        if (auto translated = m_catalogue(key))
            return std::move(*translated);
    }
    return std::string(key);
}

std::string AppLocalization::operator()(std::string_view key) const {
    return lookup(key);
}

std::string AppLocalization::text(const AppMessage& message) const {
    if (message.arguments.empty())
        return lookup(message.key);
    const std::vector<std::string_view> arguments(message.arguments.begin(),
                                                  message.arguments.end());
    return format(lookup(message.key), arguments);
}

std::string AppLocalization::issue(std::string_view text) const {
    if (text.starts_with(kMicrophoneUnavailable)) {
        const std::string reason = lookup(text.substr(kMicrophoneUnavailable.size()));
        return (*this)(kMicrophoneUnavailableFormat, reason);
    }
    for (const std::string_view prefix : kStatusPrefixes) {
        if (const auto number = statusNumber(text, prefix)) {
            std::string result = lookup(prefix);
            result.append(kOpenBracket);
            result.append(*number);
            result.append(kCloseBracket);
            return result;
        }
    }
    return lookup(text);
}

std::string AppLocalization::format(std::string_view format,
                                    const std::vector<std::string_view>& arguments) {
    std::string out;
    out.reserve(format.size());
    std::size_t nextArgument = 0;
    std::size_t position = 0;
    while (position < format.size()) {
        const std::size_t percent = format.find('%', position);
        if (percent == std::string_view::npos) {
            out.append(format.substr(position));
            break;
        }
        out.append(format.substr(position, percent - position));
        std::size_t cursor = percent + 1;
        if (cursor < format.size() && format[cursor] == '%') {
            out.push_back('%');
            position = cursor + 1;
        } else if (cursor < format.size() && format[cursor] == '@') {
            if (nextArgument < arguments.size())
                out.append(arguments[nextArgument]);
            else
                out.append("%@");
            ++nextArgument;
            position = cursor + 1;
        } else if (const auto index = positionalIndex(format, cursor)) {
            if (*index <= arguments.size())
                out.append(arguments[*index - 1]);
            else
                out.append(format.substr(percent, cursor - percent));
            position = cursor;
        } else {
            out.push_back('%');
            position = percent + 1;
        }
    }
    return out;
}

} // namespace quillvane
