#pragma once

#include <QLabel>

namespace quillvane {

// The line the settings window shows when the desktop has no tray: closing the window then ends
// the program, and the user learns how to get a tray.
class TrayHint : public QLabel {
    Q_OBJECT

public:
    explicit TrayHint(QWidget* parent = nullptr);

protected:
    void changeEvent(QEvent* event) override;

private:
    void retranslate();
};

} // namespace quillvane
