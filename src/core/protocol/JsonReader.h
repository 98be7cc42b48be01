#pragma once

// Strict JSON reading on simdjson On-Demand, for the core's own sources (simdjson is a private
// dependency of QuillvaneCore; nothing outside the core includes this header).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <simdjson.h>

#include "protocol/PadError.h"
#include "protocol/Uuid.h"

namespace quillvane::json {

using Value = simdjson::ondemand::value;
using Object = simdjson::ondemand::object;
using Document = simdjson::ondemand::document;

[[noreturn]] void fail(std::string_view context, simdjson::error_code error);
[[noreturn]] void fail(std::string_view context, std::string_view reason);

// Values that the On-Demand API already hands out unwrapped pass through unchanged.
template <class T>
T take(T value, std::string_view) {
    return value;
}

template <class T>
T take(simdjson::simdjson_result<T> result, std::string_view context) {
    T value{};
    if (const auto error = std::move(result).get(value))
        fail(context, error);
    return value;
}

// Fails unless the document has been read to its end (On-Demand does not look past the root
// value by itself).
void requireEnd(Document& document);

// Parses `length` bytes at `data`, which has at least simdjson::SIMDJSON_PADDING readable bytes after it, and
// hands the document to `visit`. Fails when anything but white space follows the root value.
template <class Visit>
decltype(auto) parsePadded(const char* data, std::size_t length, Visit&& visit) {
    // One parser per thread: every link lives on the main thread and parses one document at a
    // time, so the parser's buffers are shared instead of kept per connection.
    thread_local simdjson::ondemand::parser parser;
    Document document = take(parser.iterate(data, length, length + simdjson::SIMDJSON_PADDING), "document");
    if constexpr (std::is_void_v<decltype(visit(document))>) {
        visit(document);
        requireEnd(document);
    } else {
        decltype(auto) result = visit(document);
        requireEnd(document);
        return result;
    }
}

// As parsePadded, for text without padding: copies it into a padded buffer first.
template <class Visit>
decltype(auto) parse(std::string_view text, Visit&& visit) {
    thread_local std::string buffer;
    buffer.assign(text);
    buffer.append(simdjson::SIMDJSON_PADDING, ' ');
    return parsePadded(buffer.data(), text.size(), std::forward<Visit>(visit));
}

// Typed field readers. Each fails with a JsonError naming the key when the JSON type differs or
// the number does not fit the field's type exactly (no rounding, no truncation).
bool isNull(Value& value);
std::string readString(Value& value, std::string_view key);
std::int64_t readInt64(Value& value, std::string_view key);
std::uint64_t readUInt64(Value& value, std::string_view key);
std::uint16_t readUInt16(Value& value, std::string_view key);
double readDouble(Value& value, std::string_view key);
bool readBool(Value& value, std::string_view key);
Uuid readUuid(Value& value, std::string_view key);

[[noreturn]] void missingKey(std::string_view key);

// Reads a value of no interest (an unknown key's) to its end, checking its structure on the way.
// On-Demand's own skipping only balances brackets, which lets malformed content through.
void consume(Value& value, std::string_view context);

// The field's key. Keys without escapes (all keys in practice) are read in place; only a key that
// holds an escape is unescaped into the parser's string buffer.
std::string_view fieldKey(simdjson::ondemand::field& field, std::string_view context);

// Name of the simdjson kernel compiled in (for benchmarks and diagnostics).
std::string_view implementationName();

} // namespace quillvane::json
