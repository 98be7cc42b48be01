#pragma once

namespace quillvane {

class ControllerSession;
class InputSink;

// The controller's input messages (move, scroll, click, drag, key, text), each turned into its
// input call with the message's values, an absent field taking its default. Routes its kinds in
// the session, gated by the voice; posting failures take the session's rejection path, and so
// does a text the desktop refused after its message was answered.
class InputHandler {
public:
    InputHandler(ControllerSession& session, InputSink& input);
    ~InputHandler();
    InputHandler(const InputHandler&) = delete;
    InputHandler& operator=(const InputHandler&) = delete;

private:
    InputSink& m_input;
};

} // namespace quillvane
