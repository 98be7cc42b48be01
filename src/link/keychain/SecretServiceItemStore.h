#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "keychain/ItemRead.h"

using GError = struct _GError;
using GList = struct _GList;
using SecretService = struct _SecretService;

namespace quillvane {

// Pairing items in the desktop's Secret Service (gnome-keyring, KWallet) through libsecret:
// attributes "service" = "app.quillvane.pairing" and "account", stored in the default collection.
// The calls block; they run at start and on rotation only. Each libsecret call, an unlock prompt
// included, is given up after `timeLimit`, so a prompt nobody answers cannot hold the host.
// Statuses are GError codes; an item that stays locked reads as SECRET_ERROR_IS_LOCKED (2).
class SecretServiceItemStore {
public:
    static constexpr std::string_view service = "app.quillvane.pairing";
    // Long enough to type the keyring's password into its prompt.
    static constexpr std::chrono::seconds defaultTimeLimit{30};

    explicit SecretServiceItemStore(std::chrono::milliseconds timeLimit = defaultTimeLimit);

    // Whether a Secret Service answers on the session bus (starting it if the bus can).
    static bool isAvailable();

    ItemRead read(const std::string& account) const;
    // Replaces the item with these attributes or adds one; returns 0 or the failure status.
    int write(const std::string& account, std::string_view data) const;
    // Returns 0 also when there was no such item.
    int remove(const std::string& account) const;

private:
    // A service with an open session; null with `error` set.
    SecretService* connect(GError** error) const;
    // The items of `account`, unlocked where the keyring allows (which may prompt).
    GList* search(SecretService* service, const std::string& account, int flags,
                  GError** error) const;

    std::chrono::milliseconds m_timeLimit;
};

} // namespace quillvane
