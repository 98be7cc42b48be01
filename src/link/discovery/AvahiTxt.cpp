#include "discovery/AvahiTxt.h"

namespace quillvane {

AvahiStringList* toAvahiStringList(const TxtRecord& record) {
    AvahiStringList* list = nullptr;
    for (const std::string& string : record.toStrings())
        list = avahi_string_list_add_arbitrary(
            list, reinterpret_cast<const std::uint8_t*>(string.data()), string.size());
    return list;
}

TxtRecord fromAvahiStringList(AvahiStringList* list) {
    std::vector<std::string> strings;
    for (AvahiStringList* item = list; item; item = avahi_string_list_get_next(item)) {
        const auto* text = reinterpret_cast<const char*>(avahi_string_list_get_text(item));
        strings.emplace_back(text, avahi_string_list_get_size(item));
    }
    return TxtRecord::fromStrings(strings);
}

} // namespace quillvane
