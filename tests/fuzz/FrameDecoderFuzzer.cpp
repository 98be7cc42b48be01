// Feeds one byte stream to a FrameDecoder twice: whole, and cut into chunks chosen by the input.
// Both must agree: the same messages when the whole stream decodes, a failure in both otherwise.
// Every decoded message must survive its own encoding unchanged.

#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "protocol/PadError.h"

using namespace quillvane;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

void checkRoundTrip(const WireMessage& message) {
    try {
        const Bytes frame = FrameCodec::encode(message);
        FrameDecoder decoder;
        const auto again = decoder.append(frame);
        require(again.size() == 1 && again[0] == message);
    } catch (const PadError& error) {
        // Re-encoding may only grow the text past the limit through escaping.
        require(error.message() == "消息过大");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    // The first two bytes seed the chunk sizes; the rest is the stream.
    std::uint32_t seed = std::uint32_t{data[0]} << 8 | data[1];
    const std::span<const std::uint8_t> stream(data + 2, size - 2);

    std::vector<WireMessage> whole;
    bool wholeFailed = false;
    try {
        FrameDecoder decoder;
        whole = decoder.append(stream);
        require(decoder.pendingSize() <= FrameDecoder::maximumPending);
    } catch (const std::runtime_error&) {
        wholeFailed = true;
    }

    std::vector<WireMessage> chunked;
    bool chunkedFailed = false;
    FrameDecoder decoder;
    std::size_t offset = 0;
    try {
        while (offset < stream.size()) {
            seed = seed * 1103515245u + 12345u;
            const std::size_t length = std::min<std::size_t>(1 + (seed >> 16) % 97,
                                                             stream.size() - offset);
            auto messages = decoder.append(stream.subspan(offset, length));
            require(decoder.pendingSize() <= FrameDecoder::maximumPending);
            offset += length;
            chunked.insert(chunked.end(), messages.begin(), messages.end());
        }
    } catch (const std::runtime_error&) {
        chunkedFailed = true;
    }

    require(wholeFailed == chunkedFailed);
    if (!wholeFailed) {
        require(whole == chunked);
        for (const auto& message : whole)
            checkRoundTrip(message);
    }
    return 0;
}
