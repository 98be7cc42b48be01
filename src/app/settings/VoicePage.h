#pragma once

#include "SettingsPage.h"

class QButtonGroup;
class QComboBox;
class QLabel;
class QPushButton;
class QRadioButton;
class QSlider;

namespace quillvane {

class Card;
class HostModel;
class ShortcutEditor;

// The voice relay's settings: the virtual microphone, the output the voice plays into, the
// dictation shortcut, how it is pressed and how long the dictation program gets to start.
class VoicePage : public SettingsPage {
    Q_OBJECT
public:
    VoicePage(HostModel& host, HostText hostText, QWidget* parent = nullptr);

    void retranslate() override;

private:
    void install();
    void updateMicrophone();
    void updateDevices();
    void updateMode();
    void updateDelay();

    HostModel& m_host;
    bool m_updating = false;

    Card* m_microphoneCard;
    QLabel* m_microphone;
    QPushButton* m_install;
    QLabel* m_refused;

    Card* m_deviceCard;
    QComboBox* m_devices;
    QPushButton* m_useMicrophone;
    QPushButton* m_refresh;

    Card* m_shortcutCard;
    ShortcutEditor* m_shortcut;

    Card* m_modeCard;
    QButtonGroup* m_modes;
    QRadioButton* m_hold;
    QRadioButton* m_toggle;

    Card* m_delayCard;
    QSlider* m_delay;
    QLabel* m_delayValue;
};

} // namespace quillvane
