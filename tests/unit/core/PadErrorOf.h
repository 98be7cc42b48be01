#pragma once

#include <string>

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

} // namespace quillvane
