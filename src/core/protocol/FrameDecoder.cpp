#include "FrameDecoder.h"

#include <cstring>

#include "protocol/FrameCodec.h"
#include "protocol/PadError.h"

namespace quillvane {

std::vector<WireMessage> FrameDecoder::append(std::span<const std::uint8_t> bytes) {
    const std::size_t needed = m_size + bytes.size() + kJsonPadding;
    if (m_buffer.size() < needed)
        m_buffer.resize(std::max(needed, m_buffer.size() * 2));
    if (!bytes.empty())
        std::memcpy(m_buffer.data() + m_size, bytes.data(), bytes.size());
    m_size += bytes.size();

    std::vector<WireMessage> messages;
    const auto* data = reinterpret_cast<const std::uint8_t*>(m_buffer.data());
    std::size_t offset = 0;
    while (m_size - offset >= FrameCodec::prefixSize) {
        const std::uint32_t length = std::uint32_t{data[offset]} << 24 |
                                     std::uint32_t{data[offset + 1]} << 16 |
                                     std::uint32_t{data[offset + 2]} << 8 | data[offset + 3];
        // Checked as soon as the prefix is here, before any of the payload is waited for.
        if (length == 0 || length > FrameCodec::maximumSize)
            throw PadError::invalid("无效消息长度");
        if (m_size - offset - FrameCodec::prefixSize < length)
            break;
        // The bytes after the payload (the next frame, or spare capacity) serve as the parser's
        // read-ahead padding.
        WireMessage message = WireMessage::fromPaddedJson(
            m_buffer.data() + offset + FrameCodec::prefixSize, length);
        if (message.version != kProtocolVersion)
            throw PadError::invalid("两端协议版本不一致，请更新应用");
        messages.push_back(std::move(message));
        offset += FrameCodec::prefixSize + length;
    }

    if (offset > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + offset, m_size - offset);
        m_size -= offset;
    }
    if (m_size > maximumPending)
        throw PadError::invalid("接收缓冲超限");
    return messages;
}

} // namespace quillvane
