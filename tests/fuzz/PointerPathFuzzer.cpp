// Drives the pointer's start-point and clamping rules the way the input controller does, with
// random display layouts, reported locations, times and delta batches, and traps on any position
// that is not finite or not on a display.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "FuzzInput.h"
#include "pointer/DisplayRect.h"
#include "pointer/PointerPath.h"
#include "pointer/PointerPosition.h"

using namespace quillvane;

namespace {

std::int16_t int16(FuzzInput& in) {
    return static_cast<std::int16_t>(in.number(2, true));
}

bool same(TrackpadVector a, TrackpadVector b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || a == b;
}

// Monitor layouts as a display server reports them: whole-point origins and sizes, plus a
// fraction now and then; the first always usable, later ones possibly empty, overlapping,
// touching or far apart.
std::vector<DisplayRect> layout(FuzzInput& in) {
    std::vector<DisplayRect> screens(1 + in.byte() % 4);
    for (auto& r : screens) {
        const double first = &r == &screens.front() ? 1 : 0;
        r.x = int16(in);
        r.y = int16(in);
        const std::uint8_t fraction = in.byte();
        r.width = in.number(2, true) % 5000 + (fraction & 0x0F) / 16.0 + first;
        r.height = in.number(2, true) % 5000 + (fraction >> 4) / 16.0 + first;
    }
    return screens;
}

// Mostly sixteenths of a point; the extremes stand for the largest jumps.
double delta(FuzzInput& in) {
    const std::int16_t v = int16(in);
    return v == INT16_MAX ? 2000 : v == INT16_MIN ? -2000 : v / 16.0;
}

bool onDisplay(TrackpadVector p, const std::vector<DisplayRect>& screens) {
    return std::ranges::any_of(
        screens, [&](const DisplayRect& r) { return r.isUsable() && r.contains(p.x, p.y); });
}

// A clamped point sits at least one point inside the far edges (or on the near edge of a display
// narrower than that).
bool insideFarEdges(TrackpadVector p, const std::vector<DisplayRect>& screens) {
    return std::ranges::any_of(screens, [&](const DisplayRect& r) {
        return r.isUsable() && r.minX() <= p.x && p.x <= std::max(r.minX(), r.maxX() - 1) &&
               r.minY() <= p.y && p.y <= std::max(r.minY(), r.maxY() - 1);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in{data, size};
    const std::vector<DisplayRect> screens = layout(in);
    PointerPosition position;
    TrackpadVector observed{int16(in) * 1.0, int16(in) * 1.0};
    double time = 100;

    while (!in.empty()) {
        const std::uint8_t op = in.byte();
        switch (op % 8) {
        case 0: // the user moves the real mouse
            observed = {int16(in) / 4.0, int16(in) / 4.0};
            break;
        case 1: // a report that is anything at all
            observed = {std::bit_cast<double>(in.number(8, true)),
                        std::bit_cast<double>(in.number(8, true))};
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
            time =
                (op & 0x80) ? std::bit_cast<double>(in.number(8, true)) : time - in.byte() / 100.0;
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
            for (std::size_t i = 0; i < path.size(); ++i) {
                const TrackpadVector p = path[i];
                const TrackpadVector previous = i == 0 ? start : path[i - 1];
                check(std::isfinite(p.x) && std::isfinite(p.y) && onDisplay(p, screens));
                // Either the step went through unchanged or the point was clamped.
                check(same(p, {previous.x + deltas[i].x, previous.y + deltas[i].y}) ||
                      insideFarEdges(p, screens));
            }
            position.record(path.back());
            break;
        }
        }
    }
    return 0;
}
