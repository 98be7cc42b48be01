#pragma once

#include <string>
#include <utility>

#include "InputBackend.h"

namespace quillvane {

// The backend of a session in which nothing can post input. It drops every event and says why,
// so the host can tell the user what is missing instead of failing somewhere deeper.
class NullBackend final : public InputBackend {
public:
    explicit NullBackend(std::string reason) : m_reason(std::move(reason)) {}

    std::string_view name() const override { return "none"; }
    bool canPost() const override { return false; }
    std::string unavailableReason() const override { return m_reason; }

    std::vector<DisplayRect> displays() override { return {}; }
    std::optional<TrackpadVector> pointerLocation() override { return std::nullopt; }

    void mouse(const MouseEvent&) override {}
    void scroll(const ScrollEvent&) override {}
    void key(std::uint16_t, bool) override {}
    bool text(std::string_view) override { return false; }
    void flush() override {}

private:
    std::string m_reason;
};

} // namespace quillvane
