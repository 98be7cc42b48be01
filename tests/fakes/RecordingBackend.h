#pragma once

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "InputBackend.h"

namespace quillvane {

// An input backend that writes every call into one log of short lines ("key 59 down",
// "leftDown 10,20 click=1", "flush") and moves its pointer where mouse events put it, as a display
// server would.
class RecordingBackend final : public InputBackend {
public:
    std::string label = "recording";
    bool permitted = true;
    std::string reason = "not permitted in this test";
    std::vector<DisplayRect> screens;
    std::optional<TrackpadVector> location = TrackpadVector{0, 0};
    std::vector<std::string> log;
    // Moves by motion from wherever the pointer is, as on Wayland, rather than to positions.
    bool relative = false;
    // A character this backend cannot type.
    std::string untypable = "\a";

    std::string_view name() const override { return label; }
    bool canPost() const override { return permitted; }
    std::string unavailableReason() const override { return permitted ? "" : reason; }
    std::vector<DisplayRect> displays() override { return screens; }
    std::optional<TrackpadVector> pointerLocation() override { return location; }

    void mouse(const MouseEvent& event) override {
        // Indexed by MouseEventType, which numbers its kinds from 1.
        static constexpr const char* types[] = {"?",       "leftDown", "leftUp",     "rightDown",
                                                "rightUp", "moved",    "leftDragged"};
        std::ostringstream line;
        line << types[static_cast<int>(event.type)] << ' ' << event.position.x << ','
             << event.position.y;
        if (event.clickState != 0)
            line << " click=" << event.clickState;
        log.push_back(line.str());
        location = event.position;
    }
    void scroll(const ScrollEvent& event) override {
        log.push_back("scroll " + std::to_string(event.wheel1) + ',' +
                      std::to_string(event.wheel2) +
                      " phase=" + std::to_string(static_cast<int>(event.phase)));
    }
    void key(std::uint16_t code, bool down) override {
        log.push_back("key " + std::to_string(code) + (down ? " down" : " up"));
    }
    bool text(std::string_view character) override {
        if (character == untypable)
            return false;
        log.push_back("text " + std::string(character));
        return true;
    }
    bool movesRelatively() const override { return relative; }
    void moveBy(TrackpadVector delta) override {
        std::ostringstream line;
        line << "moveBy " << delta.x << ',' << delta.y;
        log.push_back(line.str());
    }
    void flush() override { log.push_back("flush"); }

    // The clipboard refused a text this backend had taken.
    void loseText() { notifyTextLost(); }
};

} // namespace quillvane
