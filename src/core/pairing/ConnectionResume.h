#pragma once

namespace quillvane {

// Whether the phone should reconnect when the app returns to the foreground: set when a
// connection was up or being set up at suspension, consumed once by takeResume().
class ConnectionResume {
public:
    bool pending() const { return m_pending; }

    // A suspension while idle does not clear a resume an earlier suspension asked for.
    void suspend(bool wasConnectedOrConnecting) {
        m_pending = m_pending || wasConnectedOrConnecting;
    }
    // One-shot: returns whether to reconnect and clears the request.
    bool takeResume();
    // The user disconnected on purpose; coming back must not reconnect.
    void cancel() { m_pending = false; }

private:
    bool m_pending = false;
};

} // namespace quillvane
