#pragma once

#include <string>

#include <gtest/gtest.h>

#include "protocol/PadError.h"

namespace quillvane {

// Runs `call` and expects it to fail with a PadError carrying exactly `text`.
template <class Call> void expectPadError(Call&& call, const std::string& text) {
    try {
        call();
        ADD_FAILURE() << "no failure, expected " << text;
    } catch (const PadError& error) {
        EXPECT_EQ(error.message(), text);
    }
}

} // namespace quillvane
