#include "AudioSink.h"

namespace quillvane {

std::string MicrophoneState::message() const {
    switch (kind) {
    case Kind::invalid: return "Quillvane Microphone 不可用：" + reason;
    case Kind::missing: return "Quillvane Microphone 尚未安装";
    case Kind::awaitingLoad: return "驱动已安装，等待系统加载。请重启电脑后刷新。";
    case Kind::ready: return "Quillvane Microphone 已就绪";
    }
    return {};
}

} // namespace quillvane
