#pragma once

#include <QWidget>

#include <array>
#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;

namespace quillvane {

class HostModel;

// Edits the voice shortcut over the host's settings: the key (or "modifiers only") and one toggle
// per modifier. A combination the dictation program could not be sent is shown with the core's
// own explanation rather than refused, so the person sees what is missing while choosing.
class ShortcutEditor : public QWidget {
    Q_OBJECT
public:
    ShortcutEditor(HostModel& host, std::function<QString(const QString&)> hostText,
                   QWidget* parent = nullptr);

    void retranslate();

private:
    void update();
    void chooseKey(int index);

    HostModel& m_host;
    std::function<QString(const QString&)> m_hostText;
    QComboBox* m_key;
    std::array<QCheckBox*, 4> m_modifiers{};
    QLabel* m_problem;
    bool m_updating = false;
};

} // namespace quillvane
