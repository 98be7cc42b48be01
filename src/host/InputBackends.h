#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "InputBackend.h"

namespace quillvane {

// One backend this program can build: its name (as given to an override such as "x11") and the
// function that opens it. Opening may fail softly: a backend that cannot post says why.
struct InputBackendFactory {
    std::string name;
    std::function<std::unique_ptr<InputBackend>()> make;
};

// The backends compiled into this program, highest priority first.
std::span<const InputBackendFactory> compiledInputBackends();

// Opens the first backend of `candidates` that can post, or only the one named `requested` when
// that is not empty. When none can post, a NullBackend whose reason gathers what each candidate
// was missing. The choice is logged.
std::unique_ptr<InputBackend> chooseInputBackend(std::span<const InputBackendFactory> candidates,
                                                 std::string_view requested = {});

// The same over the compiled backends.
std::unique_ptr<InputBackend> chooseInputBackend(std::string_view requested = {});

} // namespace quillvane
