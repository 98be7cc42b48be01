#include "HttpRequestReader.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace quillvane {
namespace {

constexpr std::string_view kEndOfHead = "\r\n\r\n";

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lower(x) == lower(y); });
}

// RFC 9110's token characters, which a field name consists of.
bool isTokenChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

} // namespace

std::optional<std::string_view> HttpRequest::header(std::string_view lowerCaseName) const {
    const auto found = headers.find(lowerCaseName);
    if (found == headers.end())
        return std::nullopt;
    return std::string_view(found->second);
}

bool HttpRequest::headerLists(std::string_view lowerCaseName, std::string_view token) const {
    auto value = header(lowerCaseName);
    if (!value)
        return false;
    std::string_view rest = *value;
    while (!rest.empty()) {
        const auto comma = rest.find(',');
        if (equalsIgnoringCase(trimmed(rest.substr(0, comma)), token))
            return true;
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    }
    return false;
}

HttpRequestReader::State HttpRequestReader::feed(std::string_view bytes) {
    if (m_state != State::reading)
        return m_state;
    // Only what can still belong to the head is kept; the end marker may straddle two pieces.
    const std::size_t searchFrom = m_buffer.size() >= 3 ? m_buffer.size() - 3 : 0;
    m_buffer.append(bytes.substr(0, kMaximumHead + kEndOfHead.size() - std::min(m_buffer.size(), kMaximumHead)));
    const auto end = m_buffer.find(kEndOfHead, searchFrom);
    if (end == std::string::npos) {
        if (m_buffer.size() > kMaximumHead)
            return refuse(431);
        return m_state;
    }
    if (end + kEndOfHead.size() > kMaximumHead)
        return refuse(431);
    m_headLength = end + kEndOfHead.size();
    return parse(std::string_view(m_buffer).substr(0, end));
}

HttpRequestReader::State HttpRequestReader::refuse(int status) {
    m_refusal = status;
    m_state = State::refused;
    m_buffer.clear();
    return m_state;
}

HttpRequestReader::State HttpRequestReader::parse(std::string_view head) {
    const auto lineEnd = head.find("\r\n");
    const std::string_view requestLine = head.substr(0, lineEnd);
    const auto firstSpace = requestLine.find(' ');
    const auto secondSpace = requestLine.find(' ', firstSpace == std::string_view::npos ? firstSpace : firstSpace + 1);
    if (firstSpace == std::string_view::npos || secondSpace == std::string_view::npos ||
        requestLine.find(' ', secondSpace + 1) != std::string_view::npos)
        return refuse(400);
    const std::string_view method = requestLine.substr(0, firstSpace);
    const std::string_view target = requestLine.substr(firstSpace + 1, secondSpace - firstSpace - 1);
    const std::string_view version = requestLine.substr(secondSpace + 1);
    if (method.empty() || !std::all_of(method.begin(), method.end(), isTokenChar))
        return refuse(400);
    if (!version.starts_with("HTTP/"))
        return refuse(400);
    if (version != "HTTP/1.1")
        return refuse(505);
    if (target.size() > kMaximumTarget)
        return refuse(414);
    if (!target.starts_with('/') ||
        std::any_of(target.begin(), target.end(), [](char c) { return c <= ' ' || c == 0x7f; }))
        return refuse(400);
    m_request.method = method;
    m_request.target = target;

    std::string_view fields = lineEnd == std::string_view::npos ? std::string_view() : head.substr(lineEnd + 2);
    std::size_t count = 0;
    while (!fields.empty()) {
        const auto end = fields.find("\r\n");
        if (++count > kMaximumFields)
            return refuse(431);
        if (!parseField(fields.substr(0, end)))
            return refuse(400);
        fields = end == std::string_view::npos ? std::string_view() : fields.substr(end + 2);
    }
    // RFC 9112: a request without Host is refused. Only a POST has a body, and says how long.
    if (!m_request.header("host") || m_request.header("transfer-encoding"))
        return refuse(400);
    if (method != "GET" && method != "POST")
        return refuse(405);
    if (const auto length = m_request.header("content-length")) {
        if (length->empty() || length->size() > 9 ||
            !std::all_of(length->begin(), length->end(), [](char c) { return c >= '0' && c <= '9'; }))
            return refuse(400);
        m_contentLength = std::stoul(std::string(*length));
    } else if (method == "POST") {
        return refuse(411);
    }
    if (method == "GET" && m_contentLength != 0)
        return refuse(400);
    if (m_contentLength > kMaximumBody)
        return refuse(413);
    m_buffer.clear();
    m_state = State::complete;
    return m_state;
}

bool HttpRequestReader::parseField(std::string_view line) {
    const auto colon = line.find(':');
    // No name, or a folded continuation line (obsolete, and a classic smuggling vector).
    if (colon == 0 || colon == std::string_view::npos)
        return false;
    const std::string_view name = line.substr(0, colon);
    if (!std::all_of(name.begin(), name.end(), isTokenChar))
        return false;
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (std::any_of(value.begin(), value.end(),
                    [](char c) { return c == '\r' || c == '\n' || c == '\0'; }))
        return false;
    std::string key(name);
    std::transform(key.begin(), key.end(), key.begin(), lower);
    return m_request.headers.emplace(std::move(key), std::string(value)).second;
}

} // namespace quillvane
