#include "voice/VoiceReceiveFailure.h"

namespace quillvane {

namespace {

template <class... Handlers> struct Overloaded : Handlers... { using Handlers::operator()...; };
template <class... Handlers> Overloaded(Handlers...) -> Overloaded<Handlers...>;

const char* textOf(const VoiceReceiveFailure::Detail& detail) {
    return std::visit(
        Overloaded{
            [](const VoiceReceiveFailure::UnexpectedSequence&) {
                return "音频分包序号异常，请重试";
            },
            [](const VoiceReceiveFailure::InvalidSamples&) { return "音频分包大小无效，请重试"; },
            [](const VoiceReceiveFailure::PlaybackBacklog&) {
                return "电脑音频播放积压超过两秒，请重试";
            },
            [](const VoiceReceiveFailure::InactiveSession&) {
                return "语音会话已结束，请重新开始";
            },
            [](const VoiceReceiveFailure::AlreadyEnding&) { return "语音已进入收尾，请重新开始"; },
        },
        detail);
}

} // namespace

VoiceReceiveFailure::VoiceReceiveFailure(Detail detail)
    : std::runtime_error(textOf(detail)), m_detail(detail) {}

std::string VoiceReceiveFailure::debugDescription() const {
    return std::visit(Overloaded{
                          [](const UnexpectedSequence& d) {
                              return "unexpectedSequence(expected: " + std::to_string(d.expected) +
                                     ", received: " + std::to_string(d.received) + ")";
                          },
                          [](const InvalidSamples& d) {
                              return "invalidSamples(" + std::to_string(d.samples) + ")";
                          },
                          [](const PlaybackBacklog& d) {
                              return "playbackBacklog(pending: " + std::to_string(d.pending) +
                                     ", incoming: " + std::to_string(d.incoming) + ")";
                          },
                          [](const InactiveSession&) { return std::string("inactiveSession"); },
                          [](const AlreadyEnding&) { return std::string("alreadyEnding"); },
                      },
                      m_detail);
}

} // namespace quillvane
