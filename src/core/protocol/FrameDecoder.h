#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "protocol/WireMessage.h"

namespace quillvane {

// Cuts one connection's byte stream into messages. Received bytes are copied once, into the
// decoder's buffer, and each payload is parsed where it lies; the buffer keeps spare capacity
// after its last byte so the JSON parser may read ahead. After any failure the stream is unusable
// and the connection must be closed.
class FrameDecoder {
public:
    // Largest number of unconsumed bytes the decoder keeps after a pass: one whole frame.
    static constexpr std::size_t maximumPending = 65540;

    // Messages completed by these bytes, in stream order. Throws PadError ("无效消息长度",
    // "两端协议版本不一致，请更新应用", "接收缓冲超限") or JsonError; a failure delivers none of
    // the chunk's messages.
    std::vector<WireMessage> append(std::span<const std::uint8_t> bytes);

    std::size_t pendingSize() const { return m_size; }

private:
    std::vector<char> m_buffer;
    std::size_t m_size = 0;
};

} // namespace quillvane
