#include "VoicePage.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QStyle>
#include <QVBoxLayout>

#include <cmath>
#include <utility>

#include "Card.h"
#include "HostModel.h"
#include "ShortcutEditor.h"
#include "VoiceRelay.h"
#include "voice/VirtualMicrophonePolicy.h"

namespace quillvane {
namespace {

// The start wait in tenths of a second: 0.1 s to 2.0 s.
constexpr int minimumDelay = 1;
constexpr int maximumDelay = 20;

} // namespace

VoicePage::VoicePage(HostModel& host, HostText hostText, QWidget* parent)
    : SettingsPage(hostText, parent), m_host(host) {
    m_microphoneCard = addCard();
    m_microphone = new QLabel(m_microphoneCard);
    m_microphone->setWordWrap(true);
    m_install = new QPushButton(m_microphoneCard);
    m_refused = new QLabel(m_microphoneCard);
    m_refused->setObjectName(QStringLiteral("issue"));
    m_refused->hide();
    auto* microphoneRow = new QHBoxLayout;
    microphoneRow->addWidget(m_microphone, 1);
    microphoneRow->addWidget(m_install);
    m_microphoneCard->content()->addLayout(microphoneRow);
    m_microphoneCard->content()->addWidget(m_refused);

    m_deviceCard = addCard();
    m_devices = new QComboBox(m_deviceCard);
    m_devices->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_devices->setMinimumContentsLength(18);
    m_useMicrophone = new QPushButton(m_deviceCard);
    m_refresh = new QPushButton(m_deviceCard);
    m_refresh->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));
    // The picker has a row of its own: device descriptions run long.
    auto* deviceButtons = new QHBoxLayout;
    deviceButtons->addWidget(m_useMicrophone);
    deviceButtons->addWidget(m_refresh);
    deviceButtons->addStretch(1);
    m_deviceCard->content()->addWidget(m_devices);
    m_deviceCard->content()->addLayout(deviceButtons);

    m_shortcutCard = addCard();
    m_shortcut = new ShortcutEditor(host, std::move(hostText), m_shortcutCard);
    m_shortcutCard->content()->addWidget(m_shortcut);

    m_modeCard = addCard();
    m_hold = new QRadioButton(m_modeCard);
    m_toggle = new QRadioButton(m_modeCard);
    m_modes = new QButtonGroup(this);
    m_modes->addButton(m_hold);
    m_modes->addButton(m_toggle);
    m_modeCard->content()->addWidget(m_hold);
    m_modeCard->content()->addWidget(m_toggle);

    m_delayCard = addCard();
    m_delay = new QSlider(Qt::Horizontal, m_delayCard);
    m_delay->setRange(minimumDelay, maximumDelay);
    m_delay->setPageStep(1);
    m_delayValue = new QLabel(m_delayCard);
    m_delayValue->setMinimumWidth(m_delayValue->fontMetrics().horizontalAdvance(QStringLiteral("00.0 sec")));
    m_delayValue->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto* delayRow = new QHBoxLayout;
    delayRow->addWidget(m_delay, 1);
    delayRow->addWidget(m_delayValue);
    m_delayCard->content()->addLayout(delayRow);

    connect(m_install, &QPushButton::clicked, this, &VoicePage::install);
    connect(m_refresh, &QPushButton::clicked, &m_host, &HostModel::refreshAudio);
    connect(m_devices, &QComboBox::activated, this, [this](int index) {
        if (!m_updating && index >= 0)
            m_host.setDeviceUID(m_devices->itemData(index).toString());
    });
    connect(m_useMicrophone, &QPushButton::clicked, this, [this] {
        m_host.setDeviceUID(QString::fromUtf8(VirtualMicrophonePolicy::uid.data(),
                                              qsizetype(VirtualMicrophonePolicy::uid.size())));
    });
    connect(m_modes, &QButtonGroup::buttonToggled, this, [this](QAbstractButton* button, bool on) {
        if (on && !m_updating)
            m_host.setShortcutMode(button == m_toggle ? VoiceShortcutMode::toggle
                                                      : VoiceShortcutMode::hold);
    });
    connect(m_delay, &QSlider::valueChanged, this, [this](int tenths) {
        if (!m_updating)
            m_host.setPrepDelay(tenths / 10.0);
    });
    connect(&m_host, &HostModel::microphoneStateChanged, this, &VoicePage::updateMicrophone);
    connect(&m_host, &HostModel::speakingChanged, this, &VoicePage::updateMicrophone);
    connect(&m_host, &HostModel::devicesChanged, this, &VoicePage::updateDevices);
    connect(&m_host, &HostModel::deviceUIDChanged, this, &VoicePage::updateDevices);
    connect(&m_host, &HostModel::shortcutModeChanged, this, &VoicePage::updateMode);
    connect(&m_host, &HostModel::prepDelayChanged, this, &VoicePage::updateDelay);

    retranslate();
    updateMode();
}

void VoicePage::retranslate() {
    setHeading(tr("语音输入"), tr("将手机采集的声音传给电脑上的语音输入法。"));
    m_microphoneCard->setTitle(tr("虚拟麦克风"));
    m_microphoneCard->setInfo(tr("语音输入法中也需选择 Quillvane Microphone。安装后可能需要重启电脑。"));
    setControlText(m_install, tr("安装 / 修复麦克风"));
    m_refused->setText(tr("请先结束语音，再安装麦克风"));
    m_deviceCard->setTitle(tr("音频输出设备"));
    m_devices->setPlaceholderText(tr("请选择虚拟音频设备"));
    setControlText(m_useMicrophone, tr("使用 Quillvane 麦克风"));
    setControlText(m_refresh, tr("刷新"));
    m_shortcutCard->setTitle(tr("语音快捷键"));
    m_shortcutCard->setInfo(tr("与语音输入法中的快捷键保持一致。"));
    m_shortcut->retranslate();
    m_modeCard->setTitle(tr("语音输入法的录音方式"));
    m_modeCard->setInfo(tr("松开手机按钮后结束语音；回车需要单独点击。"));
    setControlText(m_hold, tr("按住录音，松开停止"));
    setControlText(m_toggle, tr("按一次开始，再按一次停止"));
    m_delayCard->setTitle(tr("启动等待"));
    m_delay->setAccessibleName(tr("启动等待"));
    m_delayCard->setInfo(tr("如果语音开头缺字，可适当增加等待时间。"));
    updateMicrophone();
    updateDevices();
    updateDelay();
}

void VoicePage::install() {
    // The host refuses while an utterance plays (and reports it as its issue); the refusal is
    // also said here, beside the button that was pressed.
    m_refused->setVisible(m_host.speaking());
    m_host.installMicrophone();
}

void VoicePage::updateMicrophone() {
    m_microphone->setText(hostText(QString::fromStdString(m_host.microphoneState().message())));
    if (!m_host.speaking())
        m_refused->hide();
}

void VoicePage::updateDevices() {
    m_updating = true;
    m_devices->clear();
    const std::string selected =
        VoiceRelay::preferredDevice(m_host.deviceUID().toStdString(), m_host.devices());
    bool hasMicrophone = false;
    for (const OutputDevice& device : m_host.devices()) {
        m_devices->addItem(QString::fromStdString(device.name), QString::fromStdString(device.uid));
        if (device.uid == selected)
            m_devices->setCurrentIndex(m_devices->count() - 1);
        hasMicrophone = hasMicrophone || device.uid == VirtualMicrophonePolicy::uid;
    }
    if (m_devices->findData(QString::fromStdString(selected)) < 0)
        m_devices->setCurrentIndex(-1);
    m_devices->setAccessibleName(m_devices->currentIndex() < 0 ? m_devices->placeholderText()
                                                                : m_devices->currentText());
    m_useMicrophone->setEnabled(hasMicrophone);
    m_updating = false;
}

void VoicePage::updateMode() {
    m_updating = true;
    (m_host.shortcutMode() == VoiceShortcutMode::toggle ? m_toggle : m_hold)->setChecked(true);
    m_updating = false;
}

void VoicePage::updateDelay() {
    m_updating = true;
    const double seconds = m_host.prepDelay();
    m_delay->setValue(static_cast<int>(std::lround(seconds * 10)));
    m_updating = false;
    // The catalogue's key is the printf format the value is shown with.
    m_delayValue->setText(QString::asprintf(qPrintable(tr("%.1f 秒")), seconds));
    m_delay->setAccessibleDescription(m_delayValue->text());
}

} // namespace quillvane
