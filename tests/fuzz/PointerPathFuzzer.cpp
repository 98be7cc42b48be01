// Drives the pointer's start-point and clamping rules the way the input controller does, with
// random display layouts, reported locations, times and delta batches, and traps on any position
// that is not finite or not on a display.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "pointer/DisplayRect.h"
#include "pointer/PointerPath.h"
#include "pointer/PointerPosition.h"

using namespace quillvane;

namespace {

class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool empty() const { return m_offset >= m_size; }
    std::uint8_t byte() { return empty() ? 0 : m_data[m_offset++]; }
    std::int16_t int16() { return static_cast<std::int16_t>(byte() | byte() << 8); }
    std::uint16_t uint16() { return static_cast<std::uint16_t>(byte() | byte() << 8); }
    double raw() {
        std::uint64_t bits = 0;
        for (int i = 0; i < 8; ++i)
            bits |= std::uint64_t{byte()} << (8 * i);
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_offset = 0;
};

void check(bool condition) {
    if (!condition)
        __builtin_trap();
}

bool same(TrackpadVector a, TrackpadVector b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || a == b;
}

// Monitor layouts as a display server reports them: whole-point origins and sizes, plus a
// fraction now and then; the first always usable, later ones possibly empty, overlapping,
// touching or far apart.
std::vector<DisplayRect> layout(FuzzInput& in) {
    std::vector<DisplayRect> screens(1 + in.byte() % 4);
    for (std::size_t i = 0; i < screens.size(); ++i) {
        auto& r = screens[i];
        r.x = in.int16();
        r.y = in.int16();
        const std::uint8_t fraction = in.byte();
        r.width = in.uint16() % 5000 + (fraction & 0x0F) / 16.0;
        r.height = in.uint16() % 5000 + (fraction >> 4) / 16.0;
        if (i == 0) {
            r.width += 1;
            r.height += 1;
        }
    }
    return screens;
}

double delta(FuzzInput& in) {
    const std::int16_t v = in.int16();
    if (v == INT16_MAX)
        return 2000;
    if (v == INT16_MIN)
        return -2000;
    return v / 16.0;
}

bool onDisplay(TrackpadVector p, const std::vector<DisplayRect>& screens) {
    for (const auto& r : screens)
        if (r.isUsable() && r.contains(p.x, p.y))
            return true;
    return false;
}

// A clamped point sits at least one point inside the far edges (or on the near edge of a display
// narrower than that).
bool insideFarEdges(TrackpadVector p, const std::vector<DisplayRect>& screens) {
    for (const auto& r : screens)
        if (r.isUsable() && r.minX() <= p.x && p.x <= std::max(r.minX(), r.maxX() - 1) &&
            r.minY() <= p.y && p.y <= std::max(r.minY(), r.maxY() - 1))
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    const std::vector<DisplayRect> screens = layout(in);
    PointerPosition position;
    TrackpadVector observed{in.int16() * 1.0, in.int16() * 1.0};
    double time = 100;

    while (!in.empty()) {
        const std::uint8_t op = in.byte();
        switch (op % 8) {
        case 0: // the user moves the real mouse
            observed = {in.int16() / 4.0, in.int16() / 4.0};
            break;
        case 1: // a report that is anything at all
            observed = {in.raw(), in.raw()};
            break;
        case 2: // the system catches up with a posted position, rounded
            if (!position.trail().empty()) {
                const auto& entry = position.trail()[in.byte() % position.trail().size()];
                observed = {std::round(entry.x), std::round(entry.y)};
            }
            break;
        case 3:
            time += in.byte() / 100.0;
            break;
        case 4: // clocks that jump back or are not numbers
            time = (op & 0x80) ? in.raw() : time - in.byte() / 100.0;
            break;
        case 5:
            position.reset();
            break;
        default: {
            std::vector<TrackpadVector> deltas(1 + in.byte() % 64);
            for (auto& d : deltas)
                d = {delta(in), delta(in)};

            const std::optional<TrackpadVector> before = position.commanded();
            const TrackpadVector start = position.resolve(observed, time);
            check(same(start, observed) || (before && same(start, *before)));
            check(position.trail().size() <= PointerPosition::maximumTrail);

            const auto path = PointerPath::positions(start, deltas, screens);
            check(path.size() == deltas.size());
            TrackpadVector previous = start;
            for (std::size_t i = 0; i < path.size(); ++i) {
                const TrackpadVector p = path[i];
                check(std::isfinite(p.x) && std::isfinite(p.y));
                check(onDisplay(p, screens));
                const TrackpadVector unclamped{previous.x + deltas[i].x, previous.y + deltas[i].y};
                check(same(p, unclamped) || insideFarEdges(p, screens));
                previous = p;
            }
            position.record(path.back());
            check(position.commanded() && same(*position.commanded(), path.back()));
            break;
        }
        }
    }
    return 0;
}
