#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QByteArray>
#include <QProcess>

#include "InputController.h"
#include "integration/support/HeldInput.h"
#include "fakes/TestHost.h"

namespace quillvane::testing_support {

// A started host session whose InputController posts through a real backend, its key and settings
// in a private folder, and quillvane-controller run as a process to drive it as a phone would.
class BackendHost {
public:
    explicit BackendHost(InputBackend& backend);
    ~BackendHost();

    HostModel& host() { return *m_host; }
    InputController& input() { return m_input; }

    // A controller, in place of any running one, bound to the host on both channels; false when
    // the host did not start or the controller never got both welcomes (controllerOutput() says
    // which).
    bool startController();
    // One command line of quillvane-controller ("move 40 -20", "drag on", "text Hi").
    void send(const std::string& line);
    void killController();
    std::string controllerOutput() const { return m_output.toStdString(); }

private:
    InputController m_input;
    TestHost m_test;
    HostModel* m_host;
    std::unique_ptr<QProcess> m_controller;
    QByteArray m_output;
};

// The name of the backend the host chooses where no X server is set (a Wayland session).
std::string backendChosenWithoutX();

class WevRecorder;
struct WevEvent;

// The phone's input through `session`'s controller into wev's window on a Wayland compositor,
// judged by wev: each move of the phone goes on from wherever `userMoves` (the user's own mouse)
// left the pointer, by the motion given; a click is one left click; a scroll gesture down and to
// the right arrives on both axes with a Mac's signs turned; Command+Shift+Z comes as
// Control+Shift+Z by key position; `text` and then the key A type as keys (A under the seat's
// keymap again), and no modifier stays down. Returns what wev saw from the click on.
std::vector<WevEvent> expectTheControllerDrivesTheWindow(
    BackendHost& session, WevRecorder& wev, const std::function<void(TrackpadVector)>& userMoves,
    const std::string& text);

// Holds a drag, and then the voice shortcut (three keys, held while the phone speaks), each with a
// controller started for it and then killed, and succeeds when `held`, what the desktop shows held,
// comes back to nothing each time: a phone that dies leaves no button or key down on any backend.
::testing::AssertionResult controllerDeathLetsGo(BackendHost& session,
                                                 const std::function<HeldInput()>& held);

// Presses the left button through `backend` itself, past any controller, and succeeds when wev
// sees it let go once the backend is destroyed (the program stopping); `backend` is left empty.
::testing::AssertionResult stoppingTheBackendLetsGo(std::unique_ptr<InputBackend>& backend,
                                                    WevRecorder& wev);

} // namespace quillvane::testing_support
