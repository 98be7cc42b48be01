#include "voice/MicrophoneEvents.h"

#include <cmath>

namespace quillvane {

namespace {

std::optional<MicrophoneFailure> routeFailure(const MicrophoneRoute& initial,
                                              const MicrophoneRoute& current, bool engineRunning) {
    if (current.inputIDs().empty())
        return MicrophoneFailure::inputUnavailable;
    // A route in transition may report no usable format yet; that is a missing input, not a
    // format change.
    if (!std::isfinite(current.sampleRate()) || current.sampleRate() <= 0 || current.channels() < 1)
        return MicrophoneFailure::inputUnavailable;
    if (initial.inputIDs() != current.inputIDs())
        return MicrophoneFailure::inputChanged;
    if (initial.sampleRate() == current.sampleRate() && initial.channels() == current.channels()) {
        if (engineRunning)
            return std::nullopt;
        return MicrophoneFailure::engineStopped;
    }
    return MicrophoneFailure::formatChanged;
}

} // namespace

std::string_view message(MicrophoneFailure failure) {
    switch (failure) {
    case MicrophoneFailure::interrupted:
        return "麦克风被来电或其他音频会话中断，请结束干扰后重新开始";
    case MicrophoneFailure::inputUnavailable:
        return "当前没有可用麦克风，请检查手机音频输入";
    case MicrophoneFailure::inputChanged:
        return "麦克风设备已切换，请重新按住说话";
    case MicrophoneFailure::formatChanged:
        return "麦克风采样格式已改变，请重新按住说话";
    case MicrophoneFailure::engineStopped:
        return "录音引擎已停止，请重新按住说话";
    case MicrophoneFailure::servicesReset:
        return "系统音频服务已重置，请重新按住说话";
    }
    return "录音引擎已停止，请重新按住说话";
}

std::optional<MicrophoneFailure> MicrophoneEvents::failure(MicrophoneEvent event,
                                                           const MicrophoneRoute& initial,
                                                           const MicrophoneRoute& current,
                                                           bool engineRunning) {
    switch (event) {
    case MicrophoneEvent::interruptionBegan:
        return MicrophoneFailure::interrupted;
    case MicrophoneEvent::interruptionEnded:
        return std::nullopt;
    case MicrophoneEvent::mediaServicesReset:
        return MicrophoneFailure::servicesReset;
    case MicrophoneEvent::routeChanged:
    case MicrophoneEvent::engineConfigurationChanged:
        break;
    }
    return routeFailure(initial, current, engineRunning);
}

} // namespace quillvane
