// WireMessage's reading from JSON, apart from its writing (WireMessage.cpp) because it needs
// simdjson, which the WebAssembly build of the controller half does without.
#include "WireMessage.h"

#include <charconv>
#include <cstring>

#include "protocol/Base64.h"
#include "protocol/JsonReader.h"

namespace quillvane {

const std::size_t kJsonPadding = simdjson::SIMDJSON_PADDING;

namespace {

// Base64 text is plain ASCII, so its raw JSON token is normally the text itself. Encoders that
// escape "/" as "\/" (common on the phone's side) and \u escapes are undone here; any other escape
// cannot stand for a Base64 character.
bool unescapeBase64(std::string_view raw, std::string& out) {
    out.clear();
    out.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] != '\\') {
            out.push_back(raw[i]);
            continue;
        }
        if (++i == raw.size())
            return false;
        if (raw[i] == '/') {
            out.push_back('/');
        } else if (raw[i] == 'u' && i + 4 < raw.size()) {
            unsigned value = 0;
            for (int k = 1; k <= 4; ++k) {
                const char c = raw[i + k];
                const int digit = c >= '0' && c <= '9'   ? c - '0'
                                  : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                  : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                         : -1;
                if (digit < 0)
                    return false;
                value = value * 16 + static_cast<unsigned>(digit);
            }
            if (value >= 0x80)
                return false;
            out.push_back(static_cast<char>(value));
            i += 4;
        } else {
            return false;
        }
    }
    return true;
}

Bytes readPcm(json::Value& value) {
    // raw_json_token() is the string token with its quotes, possibly followed by white space.
    std::string_view raw = value.raw_json_token();
    if (raw.empty() || raw.front() != '"')
        json::fail("pcm", "expected a string");
    // Consume the value so that the object iteration moves past it.
    json::take(value.get_raw_json_string(), "pcm");
    while (!raw.empty() && raw.back() != '"')
        raw.remove_suffix(1);
    if (raw.size() < 2)
        json::fail("pcm", "unterminated string");
    raw = raw.substr(1, raw.size() - 2);

    Bytes bytes;
    bool ok;
    if (raw.find('\\') == std::string_view::npos) {
        ok = base64Decode(raw, bytes);
    } else {
        std::string unescaped;
        ok = unescapeBase64(raw, unescaped) && base64Decode(unescaped, bytes);
    }
    if (!ok)
        json::fail("pcm", "not valid Base64");
    return bytes;
}

// Scans one JSON number at `p` by the JSON grammar and parses it; nullptr when the text is not a
// number the fast path can take.
const char* scanNumber(const char* p, double& out) {
    const char* start = p;
    if (*p == '-')
        ++p;
    if (*p == '0') {
        ++p;
    } else if (*p >= '1' && *p <= '9') {
        while (*p >= '0' && *p <= '9')
            ++p;
    } else {
        return nullptr;
    }
    if (*p == '.') {
        ++p;
        if (*p < '0' || *p > '9')
            return nullptr;
        while (*p >= '0' && *p <= '9')
            ++p;
    }
    if (*p == 'e' || *p == 'E') {
        ++p;
        if (*p == '+' || *p == '-')
            ++p;
        if (*p < '0' || *p > '9')
            return nullptr;
        while (*p >= '0' && *p <= '9')
            ++p;
    }
    const auto result = std::from_chars(start, p, out);
    return result.ec == std::errc() && result.ptr == p ? p : nullptr;
}

const char* expect(const char* p, std::string_view literal) {
    return std::memcmp(p, literal.data(), literal.size()) == 0 ? p + literal.size() : nullptr;
}

// A move batch is the hot path: up to 64 samples, tens to hundreds of times a second. Encoders
// write it compactly as [{"x":1.5,"y":-2},...], which is read here strictly, byte by byte; any
// other form (white space, other keys, escapes) returns nothing and takes the general path. The
// document is followed by blank padding, so a scan never runs past the buffer.
std::optional<std::vector<TrackpadVector>> scanCompactSamples(const char* p) {
    std::vector<TrackpadVector> samples;
    samples.reserve(64); // the largest batch a controller sends
    if (*p++ != '[')
        return std::nullopt;
    if (*p == ']')
        return samples;
    for (;;) {
        TrackpadVector sample;
        if (const char* q = expect(p, R"({"x":)")) {
            if (!(q = scanNumber(q, sample.x)) || !(q = expect(q, R"(,"y":)")) ||
                !(q = scanNumber(q, sample.y)))
                return std::nullopt;
            p = q;
        } else if (const char* r = expect(p, R"({"y":)")) {
            if (!(r = scanNumber(r, sample.y)) || !(r = expect(r, R"(,"x":)")) ||
                !(r = scanNumber(r, sample.x)))
                return std::nullopt;
            p = r;
        } else {
            return std::nullopt;
        }
        if (*p++ != '}')
            return std::nullopt;
        samples.push_back(sample);
        if (*p == ']')
            return samples;
        if (*p++ != ',')
            return std::nullopt;
    }
}

std::vector<TrackpadVector> readSamples(json::Value& value) {
    // An unconsumed value is skipped by the enclosing object's iteration; the scan has already
    // checked every byte of it.
    if (auto samples = scanCompactSamples(value.raw_json_token().data()))
        return std::move(*samples);

    std::vector<TrackpadVector> samples;
    samples.reserve(64); // the largest batch a controller sends
    auto array = json::take(value.get_array(), "movementSamples");
    for (auto element : array) {
        auto sample = json::take(std::move(element), "movementSamples");
        auto object = json::take(sample.get_object(), "movementSamples");
        std::optional<double> x;
        std::optional<double> y;
        for (auto field : object) {
            auto member = json::take(std::move(field), "movementSamples");
            const std::string_view key = json::fieldKey(member, "movementSamples");
            json::Value inner = member.value();
            if (key == "x")
                x = json::readDouble(inner, "movementSamples.x");
            else if (key == "y")
                y = json::readDouble(inner, "movementSamples.y");
            else
                json::consume(inner, "movementSamples");
        }
        if (!x)
            json::missingKey("movementSamples.x");
        if (!y)
            json::missingKey("movementSamples.y");
        samples.push_back({*x, *y});
    }
    return samples;
}

template <class Field, class Read>
void readOptional(json::Value& value, std::optional<Field>& field, Read read) {
    if (json::isNull(value))
        field.reset();
    else
        field = read(value);
}

void readField(WireMessage& message, std::string_view key, json::Value& value, bool& haveKind,
               bool& haveVersion) {
    switch (key.size()) {
    case 1:
        if (key == "x")
            return readOptional(value, message.x, [](auto& v) { return json::readDouble(v, "x"); });
        if (key == "y")
            return readOptional(value, message.y, [](auto& v) { return json::readDouble(v, "y"); });
        break;
    case 3:
        if (key == "pcm")
            return readOptional(value, message.pcm, [](auto& v) { return readPcm(v); });
        break;
    case 4:
        if (key == "kind") {
            const std::string_view name = json::take(value.get_string(), "kind");
            const auto kind = kindFromString(name);
            if (!kind)
                json::fail("kind", "unknown message kind");
            message.kind = *kind;
            haveKind = true;
            return;
        }
        if (key == "text")
            return readOptional(value, message.text,
                                [](auto& v) { return json::readString(v, "text"); });
        if (key == "flag")
            return readOptional(value, message.flag,
                                [](auto& v) { return json::readBool(v, "flag"); });
        break;
    case 6:
        if (key == "client")
            return readOptional(value, message.client,
                                [](auto& v) { return json::readUuid(v, "client"); });
        break;
    case 7:
        if (key == "version") {
            message.version = json::readInt64(value, "version");
            haveVersion = true;
            return;
        }
        if (key == "channel")
            return readOptional(value, message.channel,
                                [](auto& v) { return json::readString(v, "channel"); });
        if (key == "session")
            return readOptional(value, message.session,
                                [](auto& v) { return json::readUuid(v, "session"); });
        if (key == "keyCode")
            return readOptional(value, message.keyCode,
                                [](auto& v) { return json::readUInt16(v, "keyCode"); });
        break;
    case 8:
        if (key == "sequence")
            return readOptional(value, message.sequence,
                                [](auto& v) { return json::readInt64(v, "sequence"); });
        break;
    case 9:
        if (key == "modifiers")
            return readOptional(value, message.modifiers,
                                [](auto& v) { return json::readUInt64(v, "modifiers"); });
        break;
    case 11:
        if (key == "scrollPhase")
            return readOptional(value, message.scrollPhase, [](auto& v) {
                const auto phase = scrollPhaseFromString(json::take(v.get_string(), "scrollPhase"));
                if (!phase)
                    json::fail("scrollPhase", "unknown scroll phase");
                return *phase;
            });
        break;
    case 15:
        if (key == "movementSamples")
            return readOptional(value, message.movementSamples,
                                [](auto& v) { return readSamples(v); });
        if (key == "continuingClick")
            return readOptional(value, message.continuingClick,
                                [](auto& v) { return json::readBool(v, "continuingClick"); });
        break;
    case 19:
        if (key == "doubleClickInterval")
            return readOptional(value, message.doubleClickInterval,
                                [](auto& v) { return json::readDouble(v, "doubleClickInterval"); });
        break;
    default:
        break;
    }
    // Keys of later versions are ignored, but their values must still be well-formed JSON.
    json::consume(value, key);
}

} // namespace

// The parser reads the byte just past the document as a token, so whatever follows it (the next
// frame in a stream) could close an unbalanced document. The bytes after the document are blanked
// for the parse and put back afterwards, on every path out.
class BlankedPadding {
public:
    explicit BlankedPadding(char* end) : m_end(end) {
        std::memcpy(m_saved, end, sizeof m_saved);
        std::memset(end, ' ', sizeof m_saved);
    }
    ~BlankedPadding() { std::memcpy(m_end, m_saved, sizeof m_saved); }
    BlankedPadding(const BlankedPadding&) = delete;
    BlankedPadding& operator=(const BlankedPadding&) = delete;

private:
    char* m_end;
    char m_saved[simdjson::SIMDJSON_PADDING];
};

WireMessage WireMessage::fromPaddedJson(char* json, std::size_t length) {
    const BlankedPadding blanked(json + length);
    return json::parsePadded(json, length, [](json::Document& document) {
        WireMessage message;
        bool haveKind = false;
        bool haveVersion = false;
        auto object = json::take(document.get_object(), "message");
        for (auto field : object) {
            auto member = json::take(std::move(field), "message");
            const std::string_view key = json::fieldKey(member, "message");
            json::Value value = member.value();
            readField(message, key, value, haveKind, haveVersion);
        }
        if (!haveKind)
            json::missingKey("kind");
        if (!haveVersion)
            json::missingKey("version");
        return message;
    });
}

WireMessage WireMessage::fromJson(std::string_view json) {
    thread_local std::string buffer;
    buffer.assign(json);
    buffer.append(kJsonPadding, ' ');
    return fromPaddedJson(buffer.data(), json.size());
}

} // namespace quillvane
