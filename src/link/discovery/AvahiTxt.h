#pragma once

#include <avahi-common/strlst.h>

#include "discovery/TxtRecord.h"

namespace quillvane {

// Avahi's string lists run opposite ways: a list handed to the daemon is sent last-item-first (its
// builders prepend), while the list a resolver reports is already in wire order. Records stay in
// wire order both ways, which matters because a repeated key counts only at its first appearance.

// The caller frees the list with avahi_string_list_free.
AvahiStringList* toAvahiStringList(const TxtRecord& record);
// `list` as a resolver reports it.
TxtRecord fromAvahiStringList(AvahiStringList* list);

} // namespace quillvane
