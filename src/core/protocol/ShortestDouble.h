#pragma once

#include <cstddef>

namespace quillvane {

// Room enough for any finite double in the form below.
inline constexpr std::size_t kShortestDoubleSize = 32;

// Writes a finite `value` as std::to_chars(first, last, value) does: the fewest significant
// digits that read back as the same double (the nearest such decimal when several have that
// many), in fixed or scientific form, whichever is shorter (fixed on a tie). Returns the length.
//
// Our own, because the C++ library of the WebAssembly build has no floating-point to_chars, and
// the controller's messages must be byte for byte the same in both builds: both use this, built
// on printf and strtod, which glibc and musl both compute exactly.
std::size_t formatShortestDouble(double value, char* out);

} // namespace quillvane
