#pragma once

#include <string>
#include <utility>
#include <vector>

namespace quillvane {

// A text still to be translated: its catalogue key (the Simplified Chinese text) and the texts
// that fill its placeholders, in order. Kept untranslated so a language switch can retranslate it.
struct AppMessage {
    // A literal is a message without arguments: `AppMessage message = "已连接";`.
    AppMessage(const char* key) : key(key) {}
    explicit AppMessage(std::string key, std::vector<std::string> arguments = {})
        : key(std::move(key)), arguments(std::move(arguments)) {}

    std::string key;
    std::vector<std::string> arguments;

    friend bool operator==(const AppMessage&, const AppMessage&) = default;
};

} // namespace quillvane
