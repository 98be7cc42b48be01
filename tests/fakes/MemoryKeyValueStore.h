#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "controller/KeyValueStore.h"

namespace quillvane {

// A settings store held in memory, for tests of code that keeps flags in user settings.
class MemoryKeyValueStore : public KeyValueStore {
public:
    std::optional<bool> boolValue(std::string_view key) const override {
        const auto found = m_bools.find(std::string(key));
        if (found == m_bools.end())
            return std::nullopt;
        return found->second;
    }

    void setBool(std::string_view key, bool value) override { m_bools[std::string(key)] = value; }

    const std::map<std::string, bool>& bools() const { return m_bools; }

private:
    std::map<std::string, bool> m_bools;
};

} // namespace quillvane
