#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quillvane {

class Uuid;

// Appends compact JSON to a string. The caller keeps the structure balanced; the writer handles
// separators, string escaping and number formatting. A non-finite number throws JsonError, so no
// NaN or infinity can reach the wire; so does text that is not valid UTF-8.
class JsonWriter {
public:
    explicit JsonWriter(std::string& out) : m_out(out) {}

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    void key(std::string_view name);

    void string(std::string_view text);
    void number(double value);
    void integer(std::int64_t value);
    void unsignedInteger(std::uint64_t value);
    void boolean(bool value);
    void uuid(const Uuid& id);
    void base64(std::span<const std::uint8_t> bytes);

private:
    void separate();

    std::string& m_out;
    bool m_needsComma = false;
};

} // namespace quillvane
