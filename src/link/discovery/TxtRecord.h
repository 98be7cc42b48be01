#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillvane {

// One entry of a DNS-SD TXT record. The four kinds are kept apart because readers judge them
// differently: "key" (no value), "key=" (empty value), "key=value" whose value is UTF-8 text, and
// "key=value" whose value is bytes that are not UTF-8 text.
struct TxtEntry {
    enum class Kind { NoValue, Empty, Text, Data };

    std::string key;
    Kind kind = Kind::NoValue;
    // The bytes after '=' for Text and Data; empty for the other kinds.
    std::string value;

    // `value` is UTF-8 text; an empty one makes an Empty entry.
    static TxtEntry text(std::string key, std::string value);
    static TxtEntry empty(std::string key);
    static TxtEntry noValue(std::string key);
    // Any bytes: a Text entry when they are UTF-8 text, Data otherwise.
    static TxtEntry data(std::string key, std::string bytes);

    // Reads one character-string of the record; nothing for strings that carry no key (empty, or
    // starting with '='), which readers skip.
    static std::optional<TxtEntry> parse(std::string_view string);
    // The character-string as sent: "key", "key=" or "key=value".
    std::string toString() const;

    friend bool operator==(const TxtEntry&, const TxtEntry&) = default;
};

// A DNS-SD TXT record: its entries in the order they were sent. Keys are compared without regard to
// ASCII case and only the first entry of a key counts, as DNS-SD readers must do.
class TxtRecord {
public:
    TxtRecord() = default;
    TxtRecord(std::initializer_list<TxtEntry> entries) : m_entries(entries) {}

    // The record's character-strings in wire order; strings without a key are dropped.
    static TxtRecord fromStrings(const std::vector<std::string>& strings);
    std::vector<std::string> toStrings() const;

    void add(TxtEntry entry) { m_entries.push_back(std::move(entry)); }
    // The first entry with this key, or null.
    const TxtEntry* find(std::string_view key) const;
    const std::vector<TxtEntry>& entries() const { return m_entries; }

    friend bool operator==(const TxtRecord&, const TxtRecord&) = default;

private:
    std::vector<TxtEntry> m_entries;
};

} // namespace quillvane
