#include "TraceFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <stdexcept>

namespace quillvane {

namespace {

std::optional<TouchPhase> touchPhase(const QString& name) {
    if (name == QStringLiteral("began"))
        return TouchPhase::began;
    if (name == QStringLiteral("moved"))
        return TouchPhase::moved;
    if (name == QStringLiteral("ended"))
        return TouchPhase::ended;
    if (name == QStringLiteral("cancelled"))
        return TouchPhase::cancelled;
    return std::nullopt;
}

bool finiteNumbers(const QJsonArray& array, qsizetype from) {
    for (qsizetype i = from; i < array.size(); ++i)
        if (!array[i].isDouble() || !std::isfinite(array[i].toDouble()))
            return false;
    return true;
}

std::optional<TraceEvent> event(const QJsonArray& array) {
    if (array.size() < 2 || !array[0].isDouble() || !std::isfinite(array[0].toDouble()))
        return std::nullopt;
    TraceEvent e;
    e.time = array[0].toDouble();
    const QString kind = array[1].toString();
    if (const auto phase = touchPhase(kind)) {
        if (array.size() != 5 || !finiteNumbers(array, 2))
            return std::nullopt;
        e.kind = TraceEvent::Kind::touch;
        e.touch = {static_cast<std::int64_t>(array[2].toDouble()), array[3].toDouble(),
                   array[4].toDouble(), e.time, *phase};
    } else if (kind == QStringLiteral("motion")) {
        if (array.size() != 5 || !finiteNumbers(array, 2))
            return std::nullopt;
        e.kind = TraceEvent::Kind::motion;
        e.rate = {array[2].toDouble(), array[3].toDouble(), array[4].toDouble()};
    } else if (kind == QStringLiteral("press") || kind == QStringLiteral("release")) {
        const QString button = array.size() == 3 ? array[2].toString() : QString();
        if (button != QStringLiteral("left") && button != QStringLiteral("right"))
            return std::nullopt;
        e.kind = TraceEvent::Kind::button;
        e.button = button == QStringLiteral("left") ? AirMouse::Button::left : AirMouse::Button::right;
        e.down = kind == QStringLiteral("press");
    } else {
        return std::nullopt;
    }
    return e;
}

} // namespace

TraceFile TraceFile::read(const QString& path) {
    const auto fail = [&](const QString& why) {
        throw std::runtime_error((path + QStringLiteral(": ") + why).toStdString());
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(file.errorString());
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject())
        fail(error.error != QJsonParseError::NoError ? error.errorString()
                                                     : QStringLiteral("not a JSON object"));
    const QJsonObject root = document.object();

    TraceFile trace;
    const QJsonObject settings = root[QStringLiteral("settings")].toObject();
    trace.settings.acceleration =
        settings[QStringLiteral("acceleration")].toDouble(trace.settings.acceleration);
    trace.settings.tapToClick =
        settings[QStringLiteral("tapToClick")].toBool(trace.settings.tapToClick);
    trace.settings.naturalScroll =
        settings[QStringLiteral("naturalScroll")].toBool(trace.settings.naturalScroll);

    const QJsonArray events = root[QStringLiteral("events")].toArray();
    for (qsizetype i = 0; i < events.size(); ++i) {
        const auto e = event(events[i].toArray());
        if (!e)
            fail(QStringLiteral("event %1 is not [time, kind, ...] as documented").arg(i));
        if (!trace.events.empty() && e->time < trace.events.back().time)
            fail(QStringLiteral("event %1 is earlier than the one before it").arg(i));
        trace.events.push_back(*e);
    }
    return trace;
}

} // namespace quillvane
