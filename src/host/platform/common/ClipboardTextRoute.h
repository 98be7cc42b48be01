#pragma once

#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include <QElapsedTimer>
#include <QTimer>

#include "PasteClipboard.h"

namespace quillvane {

// Types text that the keyboard layout has no key for by pasting it: the clipboard is set to the
// text, Ctrl+V pressed, and the user's own clipboard put back once the program had time to read
// it. A program inserts pasted text only when its read of the clipboard completes, so every event
// given after a paste waits `settleMs` behind it; otherwise a key typed next would land before
// the pasted characters; where the clipboard can tell, they wait until the paste was read. The
// user's clipboard comes back `restoreMs` after the last paste, and never before it was read.
// Consecutive characters are gathered into one paste.
//
// A backend that uses this route gives it all of its events, in order, so that none overtakes a
// paste. Runs on the thread's event loop (the clipboard is served from it while we wait).
class ClipboardTextRoute {
public:
    using Event = std::function<void()>;

    static constexpr int settleMs = 150;
    static constexpr int restoreMs = 500;
    // Where the clipboard can tell that the paste was read, the next paste and the restore wait
    // for that read, up to this long after the paste.
    static constexpr int deliveryLimitMs = 2000;

    // `pressPaste` posts Ctrl+V (both keys pressed and released) and flushes; `pasteLost` is
    // told when the clipboard would not take a text, which is then not typed.
    ClipboardTextRoute(PasteClipboard& clipboard, Event pressPaste, Event pasteLost);
    // The events still waiting are posted at once, unpaced (a release left waiting would leave a
    // key or button held), text not pasted yet is dropped and the user's clipboard restored.
    ~ClipboardTextRoute();

    ClipboardTextRoute(const ClipboardTextRoute&) = delete;
    ClipboardTextRoute& operator=(const ClipboardTextRoute&) = delete;

    // One character (UTF-8) to paste.
    void paste(std::string_view character);
    // Any other event: posted now, or behind the pastes that wait.
    void post(Event event);
    // Starts the paste of what was gathered.
    void flush();
    // Drops the text not pasted yet; the other events are still posted in order.
    void discardPendingText();

private:
    struct Pending {
        std::string text; // to paste, or
        Event event;      // any other event
    };
    bool awaitingDelivery() const;
    void drain();
    void postNow(const Pending& pending);

    PasteClipboard& m_clipboard;
    Event m_pressPaste;
    Event m_pasteLost;
    std::deque<Pending> m_pending;
    QTimer m_settle;
    QTimer m_restore;
    QElapsedTimer m_sincePaste;
};

} // namespace quillvane
