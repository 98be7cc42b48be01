#pragma once

#include <memory>
#include <optional>
#include <string>

#include <QProcess>

namespace quillvane::testing_support {

class BackendHost;

// The text field program (text-field.cpp) on a Wayland compositor: a focused Qt window whose text
// the test reads back exactly as the application has it, pasted parts included.
class TextFieldWindow {
public:
    explicit TextFieldWindow(const std::string& waylandSocket);
    ~TextFieldWindow();

    bool waitUntilFocused(int timeoutMs = 15000);
    // Waits until the field holds `expected`; the text it holds last either way.
    std::string waitForText(const std::string& expected, int timeoutMs = 10000);
    // Copies `text` to the clipboard from the window, as its user would; true once a program read
    // it through the compositor: Mutter does as it takes a new selection, elsewhere `pasteBack`
    // reads it with wl-paste.
    bool copy(const std::string& text, bool pasteBack, int timeoutMs = 10000);
    // Asks the window for the clipboard until it holds `expected`; what it held last either way.
    std::string waitForClipboard(const std::string& expected, int timeoutMs = 10000);

private:
    void readOutput();

    std::unique_ptr<QProcess> m_process;
    std::string m_partial;
    bool m_focused = false;
    std::string m_text;
    std::optional<std::string> m_clipboard;
    bool m_copyRead = false;
};

// Texts from `session`'s controller into `field`, focused: the first, with characters a layout has
// no key for, arrives whole (pasted or typed); so does a second one the layout can type; and after
// a third, sent as soon as the user copied something in the window, the user's copy is back on the
// clipboard.
void expectTextArrivesAndTheUsersCopyIsKept(BackendHost& session, TextFieldWindow& field,
                                           bool pasteBack);

} // namespace quillvane::testing_support
