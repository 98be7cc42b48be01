#include "FrameCodec.h"

#include "protocol/PadError.h"

namespace quillvane::FrameCodec {

Bytes encode(const WireMessage& message) {
    std::string json;
    message.appendJson(json);
    if (json.empty() || json.size() > maximumSize)
        throw PadError::invalid("消息过大");

    const auto length = static_cast<std::uint32_t>(json.size());
    Bytes frame;
    frame.reserve(prefixSize + json.size());
    frame.push_back(static_cast<std::uint8_t>(length >> 24));
    frame.push_back(static_cast<std::uint8_t>(length >> 16));
    frame.push_back(static_cast<std::uint8_t>(length >> 8));
    frame.push_back(static_cast<std::uint8_t>(length));
    frame.insert(frame.end(), json.begin(), json.end());
    return frame;
}

} // namespace quillvane::FrameCodec
