#include "PairingProfile.h"

#include <vector>

#include "protocol/JsonWriter.h"
#include "protocol/PadError.h"
#include "protocol/Unicode.h"

namespace quillvane {
namespace {

constexpr std::string_view kScheme = "quillvane";
constexpr std::string_view kHost = "pair";

constexpr const char* kNotALink = "请扫描或粘贴 Quillvane 电脑端配对码";
constexpr const char* kIncomplete = "配对码不完整";
constexpr const char* kInvalidKey = "配对密钥无效";

constexpr char kUpperHex[] = "0123456789ABCDEF";

bool isAsciiAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isUnreserved(char c) {
    return isAsciiAlpha(c) || isAsciiDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

int hexValue(char c) {
    if (isAsciiDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Encodes every byte outside the unreserved set, so the value survives any URL parser whatever
// it treats as a delimiter ("&", "=", "+", "#", ...).
void appendEncoded(std::string& out, std::string_view value) {
    for (const char c : value) {
        if (isUnreserved(c)) {
            out.push_back(c);
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        out.push_back('%');
        out.push_back(kUpperHex[byte >> 4]);
        out.push_back(kUpperHex[byte & 0x0F]);
    }
}

// A link is printable ASCII (space, controls and raw non-ASCII mean the text is something else)
// and every "%" starts a two-digit escape.
bool isWellFormedLinkText(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c < 0x21 || c > 0x7E)
            return false;
        if (c == '%') {
            if (i + 2 >= text.size() || hexValue(text[i + 1]) < 0 || hexValue(text[i + 2]) < 0)
                return false;
            i += 2;
        }
    }
    return true;
}

// Undoes percent-encoding ("+" stays "+"); absent when the bytes are not valid UTF-8. Escapes were
// checked by isWellFormedLinkText.
std::optional<std::string> percentDecode(std::string_view raw) {
    std::string out;
    out.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] == '%') {
            out.push_back(static_cast<char>(hexValue(raw[i + 1]) << 4 | hexValue(raw[i + 2])));
            i += 2;
        } else {
            out.push_back(raw[i]);
        }
    }
    if (!isValidUtf8(out))
        return std::nullopt;
    return out;
}

bool isValidScheme(std::string_view scheme) {
    if (scheme.empty() || !isAsciiAlpha(scheme.front()))
        return false;
    for (const char c : scheme)
        if (!isAsciiAlpha(c) && !isAsciiDigit(c) && c != '+' && c != '-' && c != '.')
            return false;
    return true;
}

struct QueryItem {
    std::string name;
    std::optional<std::string> value; // absent for an item without "="
};

struct Link {
    std::string_view scheme;
    std::string host;
    std::vector<QueryItem> query;
};

std::optional<std::vector<QueryItem>> splitQuery(std::string_view query) {
    std::vector<QueryItem> items;
    while (true) {
        const std::size_t end = query.find('&');
        const std::string_view item = query.substr(0, end);
        const std::size_t equals = item.find('=');
        auto name = percentDecode(item.substr(0, equals));
        if (!name)
            return std::nullopt;
        std::optional<std::string> value;
        if (equals != std::string_view::npos) {
            value = percentDecode(item.substr(equals + 1));
            if (!value)
                return std::nullopt;
        }
        items.push_back({std::move(*name), std::move(value)});
        if (end == std::string_view::npos)
            return items;
        query.remove_prefix(end + 1);
    }
}

// Splits scheme://[userinfo@]host[:port][/path][?query][#fragment]. Absent when the text cannot be
// read as such a URL; the fragment and path are checked for form only.
std::optional<Link> splitLink(std::string_view text) {
    if (!isWellFormedLinkText(text))
        return std::nullopt;
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || !isValidScheme(text.substr(0, colon)))
        return std::nullopt;
    Link link;
    link.scheme = text.substr(0, colon);
    std::string_view rest = text.substr(colon + 1);
    if (rest.substr(0, 2) != "//")
        return std::nullopt;
    rest.remove_prefix(2);

    if (const std::size_t hash = rest.find('#'); hash != std::string_view::npos)
        rest = rest.substr(0, hash);
    std::string_view authority = rest.substr(0, rest.find_first_of("/?"));
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
        authority.remove_prefix(at + 1);
    const std::size_t portColon = authority.find(':');
    if (portColon != std::string_view::npos) {
        for (const char c : authority.substr(portColon + 1))
            if (!isAsciiDigit(c))
                return std::nullopt;
    }
    auto host = percentDecode(authority.substr(0, portColon));
    if (!host || host->empty())
        return std::nullopt;
    link.host = std::move(*host);

    if (const std::size_t question = rest.find('?'); question != std::string_view::npos) {
        auto query = splitQuery(rest.substr(question + 1));
        if (!query)
            return std::nullopt;
        link.query = std::move(*query);
    }
    return link;
}

const std::optional<std::string>* findValue(const std::vector<QueryItem>& items,
                                            std::string_view name) {
    for (const auto& item : items)
        if (item.name == name)
            return &item.value;
    return nullptr;
}

} // namespace

std::optional<PairingProfile::Key> PairingProfile::keyData() const {
    Key key{};
    if (secret.size() != key.size() * 2)
        return std::nullopt;
    for (std::size_t i = 0; i < key.size(); ++i) {
        const char high = secret[2 * i];
        const char low = secret[2 * i + 1];
        // Lower case only: hexValue alone would also take "A"-"F".
        if ((high >= 'A' && high <= 'F') || (low >= 'A' && low <= 'F'))
            return std::nullopt;
        const int h = hexValue(high);
        const int l = hexValue(low);
        if (h < 0 || l < 0)
            return std::nullopt;
        key[i] = static_cast<std::uint8_t>(h << 4 | l);
    }
    return key;
}

std::string PairingProfile::url() const {
    if (!isValidUtf8(name) || !isValidUtf8(secret))
        return {};
    std::string out;
    out.reserve(kScheme.size() + 64 + 3 * (name.size() + secret.size()));
    out.append(kScheme);
    out.append("://");
    out.append(kHost);
    out.append("?id=");
    out.append(id.toString());
    out.append("&name=");
    appendEncoded(out, name);
    out.append("&key=");
    appendEncoded(out, secret);
    return out;
}

PairingProfile PairingProfile::parse(std::string_view text) {
    // Characters can only be fewer than bytes, so short input skips the count.
    if (text.size() >= kMaxLinkCharacters && characterCount(text) >= kMaxLinkCharacters)
        throw PadError::invalid(kNotALink);
    const auto link = splitLink(trimWhitespace(text));
    if (!link || link->scheme != kScheme || link->host != kHost)
        throw PadError::invalid(kNotALink);

    const auto* idValue = findValue(link->query, "id");
    if (!idValue || !*idValue)
        throw PadError::invalid(kIncomplete);
    const auto id = Uuid::parse(**idValue);
    if (!id)
        throw PadError::invalid(kIncomplete);
    const auto* keyValue = findValue(link->query, "key");
    if (!keyValue || !*keyValue)
        throw PadError::invalid(kIncomplete);
    const auto* nameValue = findValue(link->query, "name");
    const std::string_view name =
        nameValue && *nameValue ? std::string_view(**nameValue) : kDefaultName;

    PairingProfile profile{*id, std::string(characterPrefix(name, kMaxNameCharacters)), **keyValue};
    if (!profile.keyData())
        throw PadError::invalid(kInvalidKey);
    return profile;
}

std::string PairingProfile::toJson() const {
    std::string out;
    JsonWriter writer(out);
    writeJson(writer);
    return out;
}

void PairingProfile::writeJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.key("id");
    writer.uuid(id);
    writer.key("name");
    writer.string(name);
    writer.key("secret");
    writer.string(secret);
    writer.endObject();
}

} // namespace quillvane
