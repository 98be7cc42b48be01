#include "QuickInput.h"

#include <unordered_set>

#include "protocol/JsonWriter.h"
#include "protocol/Unicode.h"

namespace quillvane {

bool QuickInput::isValid() const {
    // Decoded entries are always valid UTF-8; the check guards records built in code, which the
    // Unicode helpers below do not accept otherwise.
    if (!isValidUtf8(label) || !isValidUtf8(text))
        return false;
    return !trimWhitespace(label).empty() && !text.empty() && utf16Length(text) <= maxTextLength;
}

std::vector<QuickInput> QuickInput::fromStored(std::vector<QuickInput> stored) {
    std::vector<QuickInput> inputs;
    std::unordered_set<Uuid> kept;
    for (auto& input : stored) {
        if (input.isValid() && kept.insert(input.id).second)
            inputs.push_back(std::move(input));
    }
    return inputs;
}

std::string QuickInput::encode(const std::vector<QuickInput>& inputs) {
    std::string out;
    JsonWriter writer(out);
    writer.beginArray();
    for (const auto& input : inputs) {
        writer.beginObject();
        writer.key("id");
        writer.uuid(input.id);
        writer.key("label");
        writer.string(input.label);
        writer.key("text");
        writer.string(input.text);
        writer.endObject();
    }
    writer.endArray();
    return out;
}

} // namespace quillvane
