#include "ShortcutEditor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <cstdint>
#include <utility>

#include "HostModel.h"
#include "protocol/PadError.h"
#include "voice/ShortcutModifier.h"
#include "voice/VoiceShortcut.h"

namespace quillvane {
namespace {

struct NamedKey {
    std::int64_t code; // Mac virtual key code, as the shortcut is stored
    const char* name;
};

// The keys offered for a shortcut, by the names printed on them. Space is named in the
// interface's language; the rest read the same in both.
constexpr NamedKey namedKeys[] = {
    {36, "Return"}, {48, "Tab"},  {53, "Esc"},  {51, "Backspace"},
    {122, "F1"},    {120, "F2"},  {99, "F3"},   {118, "F4"},  {96, "F5"},   {97, "F6"},
    {98, "F7"},     {100, "F8"},  {101, "F9"},  {109, "F10"}, {103, "F11"}, {111, "F12"},
    {0, "A"},       {11, "B"},    {8, "C"},     {2, "D"},     {14, "E"},    {3, "F"},
    {5, "G"},       {4, "H"},     {34, "I"},    {38, "J"},    {40, "K"},    {37, "L"},
    {46, "M"},      {45, "N"},    {31, "O"},    {35, "P"},    {12, "Q"},    {15, "R"},
    {1, "S"},       {17, "T"},    {32, "U"},    {9, "V"},     {13, "W"},    {7, "X"},
    {16, "Y"},      {6, "Z"},     {29, "0"},    {18, "1"},    {19, "2"},    {20, "3"},
    {21, "4"},      {23, "5"},    {22, "6"},    {26, "7"},    {28, "8"},    {25, "9"},
};
constexpr std::int64_t spaceKey = 49;

// The modifiers in the order of shortcutModifiers, by their names on a PC keyboard. Fn, the last,
// is left out: PC keyboards handle it in their firmware and no desktop reports it; a stored Fn
// flag stays as it is.
constexpr const char* modifierNames[] = {"Ctrl", "Alt", "Shift", "Super"};

} // namespace

ShortcutEditor::ShortcutEditor(HostModel& host, std::function<QString(const QString&)> hostText,
                               QWidget* parent)
    : QWidget(parent), m_host(host), m_hostText(std::move(hostText)), m_key(new QComboBox(this)),
      m_problem(new QLabel(this)) {
    m_key->setMaxVisibleItems(16);
    // Wide enough for the longest key name in either language.
    m_key->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    // The key above its modifiers: on one line they would make the window too wide for a small
    // screen.
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    for (std::size_t i = 0; i < m_modifiers.size(); ++i) {
        m_modifiers[i] = new QCheckBox(QString::fromLatin1(modifierNames[i]), this);
        m_modifiers[i]->setAccessibleName(m_modifiers[i]->text());
        row->addWidget(m_modifiers[i]);
        const std::uint64_t flag = shortcutModifiers[i].flag;
        connect(m_modifiers[i], &QCheckBox::toggled, this, [this, flag](bool on) {
            if (m_updating)
                return;
            const std::uint64_t flags = m_host.hotkeyFlags();
            m_host.setHotkeyFlags(on ? flags | flag : flags & ~flag);
        });
    }
    row->addStretch(1);
    m_problem->setObjectName(QStringLiteral("issue"));
    m_problem->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_key, 0, Qt::AlignLeft);
    layout->addLayout(row);
    layout->addWidget(m_problem);

    connect(m_key, &QComboBox::activated, this, &ShortcutEditor::chooseKey);
    connect(&m_host, &HostModel::hotkeyCodeChanged, this, &ShortcutEditor::update);
    connect(&m_host, &HostModel::hotkeyFlagsChanged, this, &ShortcutEditor::update);
    retranslate();
}

void ShortcutEditor::retranslate() {
    m_updating = true;
    m_key->clear();
    m_key->addItem(tr("仅修饰键"), qint64(VoiceShortcut::modifiersOnly));
    m_key->addItem(tr("空格"), qint64(spaceKey));
    for (const NamedKey& key : namedKeys)
        m_key->addItem(QString::fromLatin1(key.name), qint64(key.code));
    m_updating = false;
    update();
}

void ShortcutEditor::chooseKey(int index) {
    if (!m_updating && index >= 0)
        m_host.setHotkeyCode(m_key->itemData(index).toLongLong());
}

void ShortcutEditor::update() {
    m_updating = true;
    const qint64 code = m_host.hotkeyCode();
    int index = m_key->findData(code);
    if (index < 0) {
        // A key chosen elsewhere (an edited settings file): shown by its code, kept as it is.
        m_key->addItem(tr("键码 %1").arg(code), code);
        index = m_key->count() - 1;
    }
    m_key->setCurrentIndex(index);
    m_key->setAccessibleName(m_key->currentText());
    const std::uint64_t flags = m_host.hotkeyFlags();
    for (std::size_t i = 0; i < m_modifiers.size(); ++i)
        m_modifiers[i]->setChecked((flags & shortcutModifiers[i].flag) != 0);
    m_updating = false;

    QString problem;
    try {
        VoiceShortcut::events(code, flags, true);
    } catch (const PadError& error) {
        problem = m_hostText(QString::fromStdString(error.message()));
    }
    m_problem->setText(problem);
    m_problem->setVisible(!problem.isEmpty());
}

} // namespace quillvane
