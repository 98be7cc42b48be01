#include "RecordingInput.h"

#include <QLoggingCategory>
#include <QString>


namespace quillvane {
namespace {
Q_LOGGING_CATEGORY(lcInput, "app.quillvane.Input", QtInfoMsg)

QString optionalFlag(std::optional<bool> value) {
    return value ? (*value ? QStringLiteral("true") : QStringLiteral("false"))
                 : QStringLiteral("none");
}

QString flag(bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); }
} // namespace

void RecordingInput::record(const QString& call) {
    qCDebug(lcInput) << call;
    m_calls.push_back(call.toStdString());
}

void RecordingInput::move(const std::vector<TrackpadVector>& samples) {
    double dx = 0;
    double dy = 0;
    for (const auto& sample : samples) {
        dx += sample.x;
        dy += sample.y;
    }
    record(QStringLiteral("move samples=%1 dx=%2 dy=%3").arg(samples.size()).arg(dx).arg(dy));
}

void RecordingInput::scroll(double x, double y, std::optional<TrackpadScrollPhase> phase) {
    const auto name = phase ? QString::fromLatin1(toString(*phase)) : QStringLiteral("none");
    record(QStringLiteral("scroll x=%1 y=%2 phase=%3").arg(x).arg(y).arg(name));
}

void RecordingInput::endScroll() { record(QStringLiteral("endScroll")); }

void RecordingInput::click(bool right, std::optional<bool> continuingClick) {
    record(QStringLiteral("click right=%1 continuing=%2").arg(flag(right), optionalFlag(continuingClick)));
}

void RecordingInput::setDrag(bool held, bool continuingClick) {
    record(QStringLiteral("drag held=%1 continuing=%2").arg(flag(held), flag(continuingClick)));
}

void RecordingInput::key(std::uint16_t code, std::uint64_t modifiers) {
    record(QStringLiteral("key code=%1 modifiers=0x%2").arg(code).arg(modifiers, 0, 16));
}

void RecordingInput::type(const std::string& text) {
    record(QStringLiteral("type ") + QString::fromStdString(text));
}

void RecordingInput::beginShortcut(std::int64_t code, std::uint64_t modifiers,
                                   VoiceShortcutMode mode) {
    record(QStringLiteral("beginShortcut code=%1 modifiers=0x%2 mode=%3")
               .arg(code)
               .arg(modifiers, 0, 16)
               .arg(QString::fromLatin1(toString(mode))));
}

void RecordingInput::releaseShortcut() { record(QStringLiteral("releaseShortcut")); }

void RecordingInput::releaseAll() { record(QStringLiteral("releaseAll")); }

} // namespace quillvane
