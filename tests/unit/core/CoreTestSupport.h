#pragma once

#include <string>
#include <string_view>

#include "protocol/PadError.h"

namespace quillvane {

// The PadError text `run` fails with, or a marker when it does not fail. Other exceptions pass
// through, so the test reports them.
template <class Run> std::string padErrorOf(Run&& run) {
    try {
        run();
    } catch (const PadError& error) {
        return error.message();
    }
    return "<no error>";
}

// `unit` written `count` times.
inline std::string repeat(std::string_view unit, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out.append(unit);
    return out;
}

} // namespace quillvane
