#pragma once

#include <cstddef>

#include "protocol/Bytes.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// A frame on the byte stream: a 4-byte big-endian payload length (1 ... maximumSize), then the
// JSON text of one WireMessage. No header beyond the length, no trailer, no checksum.
namespace FrameCodec {

inline constexpr std::size_t maximumSize = 65536;
inline constexpr std::size_t prefixSize = 4;

// The frame for `message`. Throws JsonError when the message cannot be written as JSON, and
// PadError "消息过大" when its JSON is empty or longer than maximumSize.
Bytes encode(const WireMessage& message);

} // namespace FrameCodec
} // namespace quillvane
