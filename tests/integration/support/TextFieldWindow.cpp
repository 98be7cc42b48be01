#include "TextFieldWindow.h"

#include <QProcessEnvironment>

#include "integration/IntegrationTest.h"
#include "integration/support/BackendHost.h"

namespace quillvane::testing_support {

TextFieldWindow::TextFieldWindow(const std::string& waylandSocket)
    : m_process(std::make_unique<QProcess>()) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), QString::fromStdString(waylandSocket));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
    environment.remove(QStringLiteral("DISPLAY"));
    m_process->setProcessEnvironment(environment);
    QObject::connect(m_process.get(), &QProcess::readyReadStandardOutput, m_process.get(),
                     [this] { readOutput(); });
    m_process->start(QStringLiteral(QUILLVANE_BIN_DIR "/quillvane-test-text-field"), {});
}

TextFieldWindow::~TextFieldWindow() {
    m_process->kill();
    m_process->waitForFinished();
}

void TextFieldWindow::readOutput() {
    m_partial += m_process->readAllStandardOutput().toStdString();
    std::size_t newline = 0;
    while ((newline = m_partial.find('\n')) != std::string::npos) {
        const std::string line = m_partial.substr(0, newline);
        m_partial.erase(0, newline + 1);
        if (line == "focused")
            m_focused = true;
        else if (line.starts_with("text: "))
            m_text = line.substr(6);
        else if (line == "copy read")
            m_copyRead = true;
        else if (line.starts_with("clipboard: "))
            m_clipboard = line.substr(11);
    }
}

bool TextFieldWindow::waitUntilFocused(int timeoutMs) {
    return waitUntil([this] { return m_focused; }, timeoutMs);
}

std::string TextFieldWindow::waitForText(const std::string& expected, int timeoutMs) {
    waitUntil([&] { return m_text == expected; }, timeoutMs);
    return m_text;
}

bool TextFieldWindow::copy(const std::string& text, bool pasteBack, int timeoutMs) {
    m_copyRead = false;
    m_process->write(QByteArray::fromStdString("copy " + text + "\n"));
    QProcess paste;
    const bool read = waitUntil([&] {
        if (pasteBack && paste.state() == QProcess::NotRunning)
            paste.start(QStringLiteral("wl-paste"), {QStringLiteral("--no-newline")});
        return m_copyRead;
    }, timeoutMs);
    paste.waitForFinished(timeoutMs);
    return read;
}

std::string TextFieldWindow::waitForClipboard(const std::string& expected, int timeoutMs) {
    waitUntil([&] {
        if (m_clipboard == expected)
            return true;
        m_clipboard.reset();
        m_process->write("clipboard\n");
        return waitUntil([&] { return m_clipboard.has_value(); }, 1000) && m_clipboard == expected;
    }, timeoutMs);
    return m_clipboard.value_or(std::string());
}

void expectTextArrivesAndTheUsersCopyIsKept(BackendHost& session, TextFieldWindow& field,
                                            bool pasteBack) {
    ASSERT_TRUE(field.waitUntilFocused()) << "the text field never got the keyboard";
    ASSERT_TRUE(session.startController()) << session.controllerOutput();
    session.send("text Hello, 世界 👋");
    ASSERT_EQ(field.waitForText("Hello, 世界 👋"), "Hello, 世界 👋");
    session.send("text  Hi!"); // the controller trims its lines, not inner spaces
    ASSERT_EQ(field.waitForText("Hello, 世界 👋 Hi!"), "Hello, 世界 👋 Hi!");
    ASSERT_TRUE(field.copy("the user's copy", pasteBack)) << "the compositor never took the copy";
    // At once: the compositor's word of the copy may reach the host only after the paste's
    // selection.
    session.send("text  再见");
    EXPECT_EQ(field.waitForText("Hello, 世界 👋 Hi! 再见"), "Hello, 世界 👋 Hi! 再见");
    EXPECT_EQ(field.waitForClipboard("the user's copy"), "the user's copy");
}

} // namespace quillvane::testing_support
