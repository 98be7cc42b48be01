// Feeds the trackpad and air-mouse recognisers arbitrary finger reports, sensor samples, button
// presses, settings and clocks (backwards, repeated, not numbers), and traps on any message the
// host would refuse, on scroll phases or drags out of order, and on a gesture that does not end
// once every finger is up, the buttons released and time goes on.
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <set>

#include "FuzzInput.h"
#include "controller/AirMouse.h"
#include "controller/TrackpadGesture.h"
#include "pointer/TrackpadMoveBatch.h"
#include "protocol/PadError.h"

using namespace quillvane;
using Phase = TrackpadScrollPhase;

namespace {

// What the host has been told so far, checked message by message.
struct HostView {
    bool scrolling = false;
    bool coasting = false;
    bool dragging = false;

    // Checks the messages of `out` and empties it.
    void take(ControllerOutput& out) {
        for (const WireMessage& m : out.messages) {
            (void)m.toJson(); // traps through the uncaught JsonError on a value it cannot write
            switch (m.kind) {
            case WireMessage::Kind::move:
                check(TrackpadMoveBatch::isValidBatch(TrackpadMoveBatch::samples(m)));
                check(m.x && m.y && TrackpadMoveBatch::isValidDelta(*m.x, *m.y));
                break;
            case WireMessage::Kind::scroll:
                check(m.x && m.y && m.scrollPhase && TrackpadMoveBatch::isValidDelta(*m.x, *m.y));
                scroll(*m.scrollPhase);
                break;
            case WireMessage::Kind::click:
                check(m.flag.has_value() && !dragging);
                break;
            case WireMessage::Kind::drag:
                check(m.flag && *m.flag != dragging);
                dragging = *m.flag;
                break;
            default:
                check(false);
            }
        }
        out.clear();
    }

    void scroll(Phase phase) {
        switch (phase) {
        case Phase::began: check(!scrolling && !coasting); scrolling = true; break;
        case Phase::changed: check(scrolling); break;
        case Phase::ended:
        case Phase::cancelled: check(scrolling); scrolling = false; break;
        case Phase::momentumBegan: check(!scrolling && !coasting); coasting = true; break;
        case Phase::momentumChanged: check(coasting); break;
        case Phase::momentumEnded: check(coasting); coasting = false; break;
        }
    }
};

double coordinate(FuzzInput& in) {
    const auto v = static_cast<std::int16_t>(in.number(2, true));
    return v == INT16_MIN ? std::bit_cast<double>(in.number(8, true)) : v / 8.0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in{data, size};
    TrackpadGesture trackpad;
    AirMouse air;
    // The two never drive one host together (the controller offers one or the other).
    HostView trackpadHost;
    HostView airHost;
    ControllerOutput out;
    std::set<std::int64_t> down;
    double time = 1000;

    while (!in.empty()) {
        const std::uint8_t op = in.byte();
        const double at = (op & 0x80) ? std::bit_cast<double>(in.number(8, true)) : time;
        const bool airOp = op % 8 >= 6;
        switch (op % 8) {
        case 0:
        case 1:
        case 2: {
            const std::int64_t id = in.byte() % 12;
            const auto phase = static_cast<TouchPhase>(op % 4 == 3 ? 3 : in.byte() % 4);
            trackpad.touch({id, coordinate(in), coordinate(in), at, phase}, out);
            if (phase == TouchPhase::began)
                down.insert(id);
            else if (phase == TouchPhase::ended || phase == TouchPhase::cancelled)
                down.erase(id);
            break;
        }
        case 3:
            time += in.byte() / 1000.0;
            trackpad.advance(at, out);
            trackpadHost.take(out);
            air.advance(at, out);
            airHost.take(out);
            break;
        case 4:
            time -= (op & 0x40) ? in.byte() / 100.0 : 0;
            break;
        case 5:
            trackpad.setSettings({in.byte() / 128.0 - 0.5, (op & 0x20) != 0, (op & 0x40) != 0});
            break;
        case 6:
            air.motion(coordinate(in) / 50, coordinate(in) / 50, coordinate(in) / 50, at, out);
            time += 1 / 60.0;
            break;
        default:
            air.button((op & 0x20) ? AirMouse::Button::right : AirMouse::Button::left,
                       (op & 0x40) != 0, at, out);
            break;
        }
        (airOp ? airHost : trackpadHost).take(out);
    }

    // Every finger up, every button released, then time goes on: everything must end.
    time = std::max(time, 2000.0);
    for (const std::int64_t id : down)
        trackpad.touch({id, 0, 0, time, TouchPhase::ended}, out);
    trackpadHost.take(out);
    air.button(AirMouse::Button::left, false, time, out);
    air.button(AirMouse::Button::right, false, time, out);
    airHost.take(out);
    for (int frame = 0; frame < 60 * 15 && !(trackpad.idle() && air.idle()); ++frame) {
        time += 1 / 60.0;
        trackpad.advance(time, out);
        trackpadHost.take(out);
        air.advance(time, out);
        airHost.take(out);
    }
    check(trackpad.idle() && air.idle());
    for (const HostView& host : {trackpadHost, airHost})
        check(!host.scrolling && !host.coasting && !host.dragging);
    return 0;
}
