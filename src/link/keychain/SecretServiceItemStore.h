#pragma once

#include <string>
#include <string_view>

#include "keychain/ItemRead.h"

namespace quillvane {

// Pairing items in the desktop's Secret Service (gnome-keyring, KWallet) through libsecret:
// attributes "service" = "app.quillvane.pairing" and "account", stored in the default collection.
// The calls block; they run at start and on rotation only. Statuses are GError codes.
class SecretServiceItemStore {
public:
    static constexpr std::string_view service = "app.quillvane.pairing";

    // Whether a Secret Service answers on the session bus (starting it if the bus can).
    static bool isAvailable();

    ItemRead read(const std::string& account) const;
    // Replaces the item with these attributes or adds one; returns 0 or the failure status.
    int write(const std::string& account, std::string_view data) const;
    // Returns 0 also when there was no such item.
    int remove(const std::string& account) const;
};

} // namespace quillvane
