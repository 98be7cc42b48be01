#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quillvane {

// One HTTP/1.1 request head, as the browser endpoint takes it: method, target and header fields
// (names in lower case, each at most once).
struct HttpRequest {
    std::string method;
    std::string target;
    std::map<std::string, std::string, std::less<>> headers;

    // The field's value, or absent when the request has none.
    std::optional<std::string_view> header(std::string_view lowerCaseName) const;
    // Whether a comma-separated field lists `token`, compared without regard to case
    // ("Connection: keep-alive, Upgrade" lists "upgrade").
    bool headerLists(std::string_view lowerCaseName, std::string_view token) const;
};

// Reads one request head from a stream fed in pieces, refusing anything the endpoint does not
// serve before it buffers more than a bounded head: a page and its files are fetched with GET,
// the socket is upgraded with GET, and only a POST carries a body, of a stated and bounded
// length (a link's texts on their way up). A body of unstated length or on a GET, a header
// beyond the limits, a folded or repeated field, or another HTTP version is refused with its
// status. Plain C++ and no I/O, so the fuzzer drives it directly.
class HttpRequestReader {
public:
    // The whole head, request line and fields; a browser's is about a kilobyte.
    static constexpr std::size_t kMaximumHead = 8192;
    static constexpr std::size_t kMaximumFields = 48;
    static constexpr std::size_t kMaximumTarget = 1024;
    // A POST's body: a batch of a link's texts, audio included.
    static constexpr std::size_t kMaximumBody = 1024 * 1024;

    enum class State { reading, complete, refused };

    // Takes the next bytes; returns the state after them. Once complete or refused, further
    // bytes are not looked at.
    State feed(std::string_view bytes);

    State state() const { return m_state; }
    // Valid once complete.
    const HttpRequest& request() const { return m_request; }
    // The status to answer a refused request with: 400, 405, 411, 413, 414, 431 or 505.
    int refusal() const { return m_refusal; }
    // The body's length, which follows the head; 0 for a GET.
    std::size_t contentLength() const { return m_contentLength; }
    // How many of the fed bytes the head took (the rest would be a body or the next request).
    std::size_t headLength() const { return m_headLength; }

private:
    State refuse(int status);
    State parse(std::string_view head);
    bool parseField(std::string_view line);

    std::string m_buffer;
    HttpRequest m_request;
    State m_state = State::reading;
    int m_refusal = 0;
    std::size_t m_headLength = 0;
    std::size_t m_contentLength = 0;
};

} // namespace quillvane
