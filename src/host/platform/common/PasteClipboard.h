#pragma once

#include <string>

namespace quillvane {

// A desktop's clipboard as ClipboardTextRoute uses it; each backend that pastes provides one
// (the compositor's own clipboard interface, or a data-control protocol).
class PasteClipboard {
public:
    virtual ~PasteClipboard() = default;

    // Makes `text` (UTF-8) the clipboard's content; false when the clipboard cannot be set. What
    // the user had is kept until restore(), however many offers come in between.
    virtual bool offer(const std::string& text) = 0;
    // Gives the user's own content back; nothing to do when none was taken.
    virtual void restore() = 0;
    // Whether a program has read the content of the last offer. A clipboard that cannot tell
    // says true, and the route relies on its pauses alone.
    virtual bool delivered() const { return true; }
};

} // namespace quillvane
