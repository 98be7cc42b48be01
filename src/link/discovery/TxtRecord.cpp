#include "discovery/TxtRecord.h"

#include <algorithm>

#include "protocol/Unicode.h"

namespace quillvane {

namespace {

char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameKey(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

} // namespace

TxtEntry TxtEntry::text(std::string key, std::string value) {
    if (value.empty())
        return empty(std::move(key));
    return {std::move(key), Kind::Text, std::move(value)};
}

TxtEntry TxtEntry::empty(std::string key) {
    return {std::move(key), Kind::Empty, {}};
}

TxtEntry TxtEntry::noValue(std::string key) {
    return {std::move(key), Kind::NoValue, {}};
}

TxtEntry TxtEntry::data(std::string key, std::string bytes) {
    if (bytes.empty())
        return empty(std::move(key));
    const Kind kind = isValidUtf8(bytes) ? Kind::Text : Kind::Data;
    return {std::move(key), kind, std::move(bytes)};
}

std::optional<TxtEntry> TxtEntry::parse(std::string_view string) {
    const std::size_t equals = string.find('=');
    if (string.empty() || equals == 0)
        return std::nullopt;
    if (equals == std::string_view::npos)
        return noValue(std::string(string));
    return data(std::string(string.substr(0, equals)), std::string(string.substr(equals + 1)));
}

std::string TxtEntry::toString() const {
    switch (kind) {
    case Kind::NoValue:
        return key;
    case Kind::Empty:
        return key + '=';
    case Kind::Text:
    case Kind::Data:
        break;
    }
    return key + '=' + value;
}

TxtRecord TxtRecord::fromStrings(const std::vector<std::string>& strings) {
    TxtRecord record;
    for (const std::string& string : strings) {
        if (std::optional<TxtEntry> entry = TxtEntry::parse(string))
            record.add(std::move(*entry));
    }
    return record;
}

std::vector<std::string> TxtRecord::toStrings() const {
    std::vector<std::string> strings;
    strings.reserve(m_entries.size());
    for (const TxtEntry& entry : m_entries)
        strings.push_back(entry.toString());
    return strings;
}

const TxtEntry* TxtRecord::find(std::string_view key) const {
    const auto it = std::ranges::find_if(
        m_entries, [&](const TxtEntry& entry) { return sameKey(entry.key, key); });
    return it == m_entries.end() ? nullptr : &*it;
}

} // namespace quillvane
