#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include <QByteArray>

#include "protocol/Uuid.h"

namespace quillvane {

// Fills `bytes` from the kernel's cryptographically secure generator (getrandom). Returns false
// only when the kernel refuses, which callers report with their own text.
bool secureRandomBytes(std::span<std::uint8_t> bytes);

// `count` bytes from the same generator (nonces, tokens, secrets); absent when the kernel refuses.
std::optional<QByteArray> randomBytes(qsizetype count);

// A random (version 4) UUID. Aborts if the kernel has no randomness to give, which cannot happen
// after early boot; identifiers made from anything weaker would not be unique.
Uuid randomUuid();

} // namespace quillvane
