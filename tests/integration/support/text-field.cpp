// A text field in a window of its own, as the receiving end of typed and pasted text in the
// Wayland input tests: a Qt application like many a user types into. Every change of its text is
// printed on standard output as one line, "text: " followed by the text with backslashes, line
// breaks and carriage returns escaped; "focused" is printed once the window has the keyboard.

#include <cstdio>

#include <QApplication>
#include <QPlainTextEdit>
#include <QWindow>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QPlainTextEdit field;
    field.setWindowTitle(QStringLiteral("text-field"));
    field.resize(640, 480);
    QObject::connect(&field, &QPlainTextEdit::textChanged, &field, [&field] {
        QString text = field.toPlainText();
        text.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
            .replace(QLatin1Char('\n'), QStringLiteral("\\n"))
            .replace(QLatin1Char('\r'), QStringLiteral("\\r"));
        std::printf("text: %s\n", text.toUtf8().constData());
        std::fflush(stdout);
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
