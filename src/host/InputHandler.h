#pragma once

namespace quillvane {

class ControllerSession;
class InputSink;

// The controller's input messages (move, scroll, click, drag, key, text), each turned into its
// input call with the message's values, an absent field taking its default. Routes its kinds in
// the session, gated by the voice; posting failures take the session's rejection path.
class InputHandler {
public:
    InputHandler(ControllerSession& session, InputSink& input);

private:
    InputSink& m_input;
};

} // namespace quillvane
