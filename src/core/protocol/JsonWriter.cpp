#include "JsonWriter.h"

#include <charconv>
#include <cmath>

#include "protocol/Base64.h"
#include "protocol/PadError.h"
#include "protocol/ShortestDouble.h"
#include "protocol/Unicode.h"
#include "protocol/Uuid.h"

namespace quillvane {

void JsonWriter::separate() {
    if (m_needsComma)
        m_out.push_back(',');
    m_needsComma = true;
}

void JsonWriter::beginObject() {
    separate();
    m_out.push_back('{');
    m_needsComma = false;
}

void JsonWriter::endObject() {
    m_out.push_back('}');
    m_needsComma = true;
}

void JsonWriter::beginArray() {
    separate();
    m_out.push_back('[');
    m_needsComma = false;
}

void JsonWriter::endArray() {
    m_out.push_back(']');
    m_needsComma = true;
}

void JsonWriter::key(std::string_view name) {
    string(name);
    m_out.push_back(':');
    m_needsComma = false;
}

void JsonWriter::string(std::string_view text) {
    if (!isValidUtf8(text))
        throw JsonError("JSON encoding failed: text is not valid UTF-8");
    separate();
    static constexpr char kHex[] = "0123456789abcdef";
    m_out.reserve(m_out.size() + text.size() + 2);
    m_out.push_back('"');
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        m_out.append(text.substr(runStart, i - runStart));
        runStart = i + 1;
        m_out.push_back('\\');
        switch (c) {
        case '"': m_out.push_back('"'); break;
        case '\\': m_out.push_back('\\'); break;
        case '\n': m_out.push_back('n'); break;
        case '\r': m_out.push_back('r'); break;
        case '\t': m_out.push_back('t'); break;
        case '\b': m_out.push_back('b'); break;
        case '\f': m_out.push_back('f'); break;
        default:
            m_out.append("u00");
            m_out.push_back(kHex[c >> 4]);
            m_out.push_back(kHex[c & 0x0F]);
        }
    }
    m_out.append(text.substr(runStart));
    m_out.push_back('"');
}

void JsonWriter::number(double value) {
    if (!std::isfinite(value))
        throw JsonError("JSON encoding failed: a number is not finite");
    separate();
    char buffer[kShortestDoubleSize];
    m_out.append(buffer, formatShortestDouble(value, buffer));
}

void JsonWriter::integer(std::int64_t value) {
    separate();
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    m_out.append(buffer, result.ptr);
}

void JsonWriter::unsignedInteger(std::uint64_t value) {
    separate();
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    m_out.append(buffer, result.ptr);
}

void JsonWriter::boolean(bool value) {
    separate();
    m_out.append(value ? "true" : "false");
}

void JsonWriter::uuid(const Uuid& id) { string(id.toString()); }

void JsonWriter::base64(std::span<const std::uint8_t> bytes) {
    separate();
    m_out.push_back('"');
    appendBase64(m_out, bytes);
    m_out.push_back('"');
}

} // namespace quillvane
