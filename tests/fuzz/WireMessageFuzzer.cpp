// Decodes arbitrary text as a WireMessage. Anything accepted must be valid JSON to a fully
// validating parser (the fast reader must not be more lenient), must encode again, and the
// encoding must decode to an equal message: what the host reads it can always write back.

#include <cstdint>
#include <string_view>

#include <simdjson.h>

#include "FuzzInput.h"
#include "protocol/PadError.h"
#include "protocol/WireMessage.h"

using namespace quillvane;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    WireMessage message;
    try {
        message = WireMessage::fromJson(text);
    } catch (const JsonError&) {
        return 0;
    }
    thread_local simdjson::dom::parser validator;
    // The validator refuses integers beyond 64 bits (as a number error), which JSON allows (an
    // unknown key may hold one); anything else it refuses is not JSON and must not be accepted.
    const auto error = validator.parse(simdjson::padded_string(text)).error();
    check(!error || error == simdjson::NUMBER_ERROR);

    std::string json;
    try {
        json = message.toJson();
    } catch (const JsonError&) {
        check(false); // decoded values are finite and valid UTF-8, so they always encode
    }
    check(WireMessage::fromJson(json) == message);
    return 0;
}
