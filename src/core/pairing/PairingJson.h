#pragma once

// JSON reading shared by the pairing types (simdjson is private to the core; nothing outside
// src/core/pairing includes this header). PairingJson.cpp also holds the types' fromJson and
// decodeStored, apart from their rules, because the WebAssembly build of the controller half
// does without simdjson.

#include <string_view>

#include <simdjson.h>

#include "pairing/PairingProfile.h"

namespace quillvane::pairing_json {

// Parses a whole document; anything after the root value, or any malformed part anywhere in the
// text, throws JsonError. The element lives until the next call on the same thread.
simdjson::dom::element parseDocument(std::string_view text);

simdjson::dom::object readObject(simdjson::dom::element element, std::string_view context);
// Looks up a required key (the first one of that name wins) and fails when it is missing.
simdjson::dom::element requireKey(simdjson::dom::object object, std::string_view key);
std::string_view readString(simdjson::dom::element element, std::string_view key);
Uuid readUuid(simdjson::dom::element element, std::string_view key);

PairingProfile readProfile(simdjson::dom::element element);

} // namespace quillvane::pairing_json
