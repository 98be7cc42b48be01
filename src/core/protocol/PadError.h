#pragma once

#include <stdexcept>
#include <string>

namespace quillvane {

// The core's one error: a finished, user-facing text (Simplified Chinese, translated only when
// shown). Every protocol, pairing, input and voice check fails with it.
class PadError : public std::runtime_error {
public:
    static PadError invalid(std::string message) { return PadError(std::move(message)); }

    const std::string& message() const noexcept { return m_message; }

private:
    explicit PadError(std::string message)
        : std::runtime_error(message), m_message(std::move(message)) {}

    std::string m_message;
};

// A payload that is not valid JSON for the type being read, or a value the JSON encoder refuses.
// Kept apart from PadError because its text comes from the JSON layer, not from the rules.
class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace quillvane
