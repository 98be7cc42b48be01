// A text field in a window of its own, as the receiving end of typed and pasted text in the
// Wayland input tests: a Qt application like many a user types into. Every change of its text is
// printed on standard output as one line, "text: " followed by the text with backslashes, line
// breaks and carriage returns escaped; "focused" is printed once the window has the keyboard.
// It copies as a user would: "copy TEXT" on standard input puts TEXT on the clipboard and prints
// "copy read" once a program has read it through the compositor (Mutter does as it takes a new
// selection); "clipboard" prints "clipboard: " and what the clipboard holds, escaped likewise.

#include <cstdio>
#include <unistd.h>

#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QSocketNotifier>
#include <QWindow>

namespace {
void printEscaped(const char* label, QString text) {
    text.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
        .replace(QLatin1Char('\n'), QStringLiteral("\\n"))
        .replace(QLatin1Char('\r'), QStringLiteral("\\r"));
    std::printf("%s: %s\n", label, text.toUtf8().constData());
    std::fflush(stdout);
}
// The user's copy. Qt's own widgets read it as "text/plain"; a read through the compositor asks
// for the type with its character set.
class WatchedCopy final : public QMimeData {
protected:
    QVariant retrieveData(const QString& type, QMetaType preferred) const override {
        if (type == QStringLiteral("text/plain;charset=utf-8")) {
            std::printf("copy read\n");
            std::fflush(stdout);
        }
        return QMimeData::retrieveData(type, preferred);
    }
};
} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QPlainTextEdit field;
    field.setWindowTitle(QStringLiteral("text-field"));
    field.resize(640, 480);
    QObject::connect(&field, &QPlainTextEdit::textChanged, &field,
                     [&field] { printEscaped("text", field.toPlainText()); });
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray commands;
    QObject::connect(&input, &QSocketNotifier::activated, &field, [&] {
        char buffer[4096];
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            input.setEnabled(false);
            return;
        }
        commands.append(buffer, n);
        for (qsizetype end; (end = commands.indexOf('\n')) >= 0; commands.remove(0, end + 1)) {
            const QString line = QString::fromUtf8(commands.left(end));
            if (line.startsWith(QStringLiteral("copy "))) {
                auto* copy = new WatchedCopy;
                copy->setText(line.mid(5));
                QGuiApplication::clipboard()->setMimeData(copy);
            } else if (line == QStringLiteral("clipboard")) {
                printEscaped("clipboard", QGuiApplication::clipboard()->text());
            }
        }
    });
    QObject::connect(&application, &QGuiApplication::focusWindowChanged, &field, [](QWindow* window) {
        if (window) {
            std::printf("focused\n");
            std::fflush(stdout);
        }
    });
    field.show();
    return application.exec();
}
