#include "InputHandler.h"

#include <string>

#include "ControllerSession.h"
#include "InputSink.h"
#include "pointer/TrackpadMoveBatch.h"
#include "protocol/PadError.h"

namespace quillvane {

InputHandler::InputHandler(ControllerSession& session, InputSink& input) : m_input(input) {
    using Kind = WireMessage::Kind;
    const auto control = ControllerSession::Channel::control;
    session.route(control, Kind::move, [this](const WireMessage& message) {
        m_input.move(TrackpadMoveBatch::samples(message));
    });
    session.route(control, Kind::scroll, [this](const WireMessage& message) {
        m_input.scroll(message.x.value_or(0), message.y.value_or(0), message.scrollPhase);
    });
    session.route(control, Kind::click, [this](const WireMessage& message) {
        m_input.click(message.flag.value_or(false), message.continuingClick);
    });
    session.route(control, Kind::drag, [this](const WireMessage& message) {
        if (!m_input.permitted())
            throw PadError::invalid("请授予辅助功能权限");
        m_input.setDrag(message.flag.value_or(false), message.continuingClick.value_or(false));
    });
    session.route(control, Kind::key, [this](const WireMessage& message) {
        m_input.key(message.keyCode.value_or(0), message.modifiers.value_or(0));
    });
    session.route(control, Kind::text, [this](const WireMessage& message) {
        m_input.type(message.text.value_or(std::string()));
    });
    m_input.setLateFailureHandler([&session](const std::string& reason) {
        session.fail(QString::fromStdString(reason));
    });
}

InputHandler::~InputHandler() { m_input.setLateFailureHandler({}); }

} // namespace quillvane
