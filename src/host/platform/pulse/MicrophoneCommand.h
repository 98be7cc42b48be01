#pragma once

#include <string>

namespace quillvane {

// `quillvane --install-microphone` and `--microphone-status`: installs or repairs the virtual
// microphone (when `install`), prints the resulting state's message on standard output and
// returns 0 exactly when it is ready. Runs the event loop of the application already created.
int runMicrophoneCommand(bool install);

} // namespace quillvane
