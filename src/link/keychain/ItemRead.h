#pragma once

#include <optional>
#include <string>

namespace quillvane {

// What an item store found for one account: `status` 0 with the stored bytes, `status` 0 without
// bytes when there is no such item, or the store's failure status (never 0) otherwise.
struct ItemRead {
    int status = 0;
    std::optional<std::string> data;
};

} // namespace quillvane
