// Feeds arbitrary bytes to the browser endpoint's request reader, whole and in pieces whose
// sizes the input chooses. Both must reach the same verdict; a refusal carries one of the
// statuses the endpoint answers with, a completed head is within the bounds and names a target
// under the root (a GET without a body, or a POST with one of bounded length), and a head that is
// not complete after the bound was refused.

#include <cstdint>
#include <string_view>

#include "FuzzInput.h"
#include "web/HttpRequestReader.h"

using namespace quillvane;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input{data, size};
    const std::uint8_t seed = input.byte();
    const std::string_view stream(reinterpret_cast<const char*>(data) + input.offset, size - input.offset);

    HttpRequestReader whole;
    whole.feed(stream);
    HttpRequestReader pieces;
    for (std::size_t offset = 0, length = 0; offset < stream.size(); offset += length) {
        length = std::min<std::size_t>(1 + (seed + offset) % 61, stream.size() - offset);
        pieces.feed(stream.substr(offset, length));
    }
    check(whole.state() == pieces.state());
    check(whole.refusal() == pieces.refusal());
    switch (whole.state()) {
    case HttpRequestReader::State::refused: {
        const int status = whole.refusal();
        check(status == 400 || status == 405 || status == 411 || status == 413 || status == 414 ||
              status == 431 || status == 505);
        break;
    }
    case HttpRequestReader::State::complete:
        check(whole.headLength() <= HttpRequestReader::kMaximumHead);
        check(whole.request().method == "GET" ? whole.contentLength() == 0 : whole.request().method == "POST");
        check(whole.contentLength() <= HttpRequestReader::kMaximumBody);
        check(whole.contentLength() == pieces.contentLength() && whole.request().target.starts_with('/'));
        check(whole.request().target.size() <= HttpRequestReader::kMaximumTarget);
        check(whole.request().headers.size() <= HttpRequestReader::kMaximumFields);
        check(whole.request().target == pieces.request().target && whole.headLength() == pieces.headLength());
        break;
    case HttpRequestReader::State::reading:
        check(stream.size() <= HttpRequestReader::kMaximumHead + 3);
        break;
    }
    return 0;
}
