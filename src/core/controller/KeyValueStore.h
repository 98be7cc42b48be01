#pragma once

#include <optional>
#include <string_view>

namespace quillvane {

// The settings store the controller keeps its flags in (user defaults on the phone, QSettings on
// the desktop). Only the value types the core needs are exposed.
class KeyValueStore {
public:
    virtual ~KeyValueStore() = default;

    // None when the key is absent or holds something other than a Boolean.
    virtual std::optional<bool> boolValue(std::string_view key) const = 0;
    virtual void setBool(std::string_view key, bool value) = 0;
};

} // namespace quillvane
