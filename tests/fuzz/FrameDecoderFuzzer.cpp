// Feeds one byte stream to a FrameDecoder twice: whole, and cut into chunks chosen by the input.
// Both must agree: the same messages when the whole stream decodes, a failure in both otherwise.
// Every decoded message must survive its own encoding unchanged.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "FuzzInput.h"
#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "protocol/PadError.h"

using namespace quillvane;

namespace {

// The messages of the stream, or nothing when decoding fails. With a seed, the stream goes in
// chunks of 1 to 97 bytes drawn from it; without, in one piece.
std::optional<std::vector<WireMessage>> decode(std::span<const std::uint8_t> stream,
                                               std::optional<std::uint32_t> seed) {
    FrameDecoder decoder;
    std::vector<WireMessage> messages;
    try {
        for (std::size_t offset = 0, length = 0; offset < stream.size(); offset += length) {
            length = stream.size() - offset;
            if (seed) {
                *seed = *seed * 1103515245u + 12345u;
                length = std::min<std::size_t>(1 + (*seed >> 16) % 97, length);
            }
            auto more = decoder.append(stream.subspan(offset, length));
            check(decoder.pendingSize() <= FrameDecoder::maximumPending);
            messages.insert(messages.end(), more.begin(), more.end());
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    return messages;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    // The first two bytes seed the chunk sizes; the rest is the stream.
    const std::span<const std::uint8_t> stream(data + 2, size - 2);
    const auto whole = decode(stream, std::nullopt);
    check(whole == decode(stream, std::uint32_t{data[0]} << 8 | data[1]));
    for (const WireMessage& message : whole.value_or(std::vector<WireMessage>{})) {
        try {
            FrameDecoder decoder;
            const auto again = decoder.append(FrameCodec::encode(message));
            check(again.size() == 1 && again[0] == message);
        } catch (const PadError& error) {
            // Re-encoding may only grow the text past the limit through escaping.
            check(error.message() == "消息过大");
        }
    }
    return 0;
}
