#pragma once

#include <functional>
#include <string>

namespace quillvane {

// A desktop's clipboard as ClipboardTextRoute uses it; each backend that pastes provides one
// (the compositor's own clipboard interface, or a data-control protocol).
class PasteClipboard {
public:
    using Offered = std::function<void(bool)>;

    virtual ~PasteClipboard() = default;

    // Makes `text` (UTF-8) the clipboard's content and then tells `offered` whether it is, from
    // this call or later from the event loop. What the user had is kept until restore(), however
    // many offers come in between.
    virtual void offer(const std::string& text, Offered offered) = 0;
    // Gives the user's own content back; nothing to do when none was taken. An offer still
    // under way is dropped, and its `offered` never called.
    virtual void restore() = 0;
    // Whether a program has read the content of the last offer. A clipboard that cannot tell
    // says true once the offer is made, and the route relies on its pauses alone.
    virtual bool delivered() const { return true; }
};

} // namespace quillvane
