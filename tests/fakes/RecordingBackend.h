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

    std::string_view name() const override { return label; }
    bool canPost() const override { return permitted; }
    std::string unavailableReason() const override { return permitted ? "" : reason; }

    std::vector<DisplayRect> displays() override { return screens; }
    std::optional<TrackpadVector> pointerLocation() override { return location; }

    void mouse(const MouseEvent& event) override {
        std::ostringstream line;
        line << typeName(event.type) << ' ' << event.position.x << ',' << event.position.y;
        if (event.clickState != 0)
            line << " click=" << event.clickState;
        log.push_back(line.str());
        location = event.position;
    }
    void scroll(const ScrollEvent& event) override {
        std::ostringstream line;
        line << "scroll y=" << event.wheel1 << " x=" << event.wheel2
             << " phase=" << static_cast<int>(event.phase)
             << " momentum=" << static_cast<int>(event.momentum);
        log.push_back(line.str());
    }
    void key(std::uint16_t code, bool down) override {
        log.push_back("key " + std::to_string(code) + (down ? " down" : " up"));
    }
    void text(std::string_view character) override {
        log.push_back("text " + std::string(character));
    }
    void flush() override { log.push_back("flush"); }

    // The log without its flushes, for cases about what was posted rather than when.
    std::vector<std::string> posted() const {
        std::vector<std::string> lines;
        for (const auto& line : log) {
            if (line != "flush")
                lines.push_back(line);
        }
        return lines;
    }

private:
    static const char* typeName(MouseEventType type) {
        switch (type) {
        case MouseEventType::leftDown:
            return "leftDown";
        case MouseEventType::leftUp:
            return "leftUp";
        case MouseEventType::rightDown:
            return "rightDown";
        case MouseEventType::rightUp:
            return "rightUp";
        case MouseEventType::moved:
            return "moved";
        case MouseEventType::leftDragged:
            return "leftDragged";
        }
        return "?";
    }
};

} // namespace quillvane
