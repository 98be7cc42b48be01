#include "JsonReader.h"

namespace quillvane::json {

void fail(std::string_view context, simdjson::error_code error) {
    fail(context, simdjson::error_message(error));
}

void fail(std::string_view context, std::string_view reason) {
    std::string text = "JSON decoding failed at ";
    text.append(context);
    text.append(": ");
    text.append(reason);
    throw JsonError(text);
}

void requireEnd(Document& document) {
    if (document.current_location().error() != simdjson::OUT_OF_BOUNDS)
        fail("document", "unexpected content after the top-level value");
}

void missingKey(std::string_view key) { fail(key, "required key is missing"); }

void consume(Value& value, std::string_view context) {
    switch (take(value.type(), context)) {
    case simdjson::ondemand::json_type::object:
        for (auto field : take(value.get_object(), context)) {
            auto member = take(std::move(field), context);
            take(member.unescaped_key(), context);
            Value inner = member.value();
            consume(inner, context);
        }
        return;
    case simdjson::ondemand::json_type::array:
        for (auto element : take(value.get_array(), context)) {
            Value inner = take(std::move(element), context);
            consume(inner, context);
        }
        return;
    case simdjson::ondemand::json_type::string:
        take(value.get_string(), context);
        return;
    case simdjson::ondemand::json_type::number:
        take(value.get_double(), context);
        return;
    case simdjson::ondemand::json_type::boolean:
        take(value.get_bool(), context);
        return;
    case simdjson::ondemand::json_type::null:
        if (!take(value.is_null(), context))
            fail(context, "malformed literal");
        return;
    }
}

std::string_view fieldKey(simdjson::ondemand::field& field, std::string_view context) {
    const char* raw = field.key().raw();
    const char* end = raw;
    // The document's strings were validated when it was indexed, so a closing quote follows.
    while (*end != '"' && *end != '\\')
        ++end;
    if (*end == '"')
        return {raw, static_cast<std::size_t>(end - raw)};
    return take(field.unescaped_key(), context);
}

std::string_view implementationName() { return simdjson::builtin_implementation()->name(); }

bool isNull(Value& value) {
    bool null = false;
    // is_null() reports an error only for a malformed token; the typed read that follows reports it
    // with the key's name.
    if (value.is_null().get(null))
        return false;
    return null;
}

std::string readString(Value& value, std::string_view key) {
    return std::string(take(value.get_string(), key));
}

std::int64_t readInt64(Value& value, std::string_view key) { return take(value.get_int64(), key); }

std::uint64_t readUInt64(Value& value, std::string_view key) {
    return take(value.get_uint64(), key);
}

std::uint16_t readUInt16(Value& value, std::string_view key) {
    const std::uint64_t number = readUInt64(value, key);
    if (number > 0xFFFF)
        fail(key, "number does not fit an unsigned 16-bit integer");
    return static_cast<std::uint16_t>(number);
}

double readDouble(Value& value, std::string_view key) { return take(value.get_double(), key); }

bool readBool(Value& value, std::string_view key) { return take(value.get_bool(), key); }

Uuid readUuid(Value& value, std::string_view key) {
    const std::string_view text = take(value.get_string(), key);
    const auto id = Uuid::parse(text);
    if (!id)
        fail(key, "not a UUID");
    return *id;
}

} // namespace quillvane::json
