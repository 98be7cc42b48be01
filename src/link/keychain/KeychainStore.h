#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "keychain/FileItemStore.h"
#include "keychain/SecretServiceItemStore.h"
#include "pairing/PairingHistory.h"
#include "pairing/PairingProfile.h"

namespace quillvane {

// Keeps pairing data: the host's own profile (account "host") and the controller's history
// (account "phone"), as JSON in the desktop's Secret Service, or, when no Secret Service answers,
// in files readable by this user only. Nothing is cached; every call goes to the store. Failures
// throw PadError with the user-facing text; JSON that does not decode throws the decoder's
// JsonError unchanged.
class KeychainStore {
public:
    enum class Backend { SecretService, File };

    static constexpr std::string_view service = SecretServiceItemStore::service;
    static constexpr std::string_view hostAccount = "host";
    static constexpr std::string_view phoneAccount = "phone";

    // Uses the Secret Service when one answers on the session bus, the files in
    // FileItemStore::defaultDirectory() otherwise. The choice is logged (again only if it changes).
    static KeychainStore open();
    static KeychainStore secretService();
    static KeychainStore fileStore(std::filesystem::path directory);

    Backend backend() const;
    // False for the file store: the user interface says so, since the key is only as safe as the
    // user's files.
    bool isProtected() const { return backend() == Backend::SecretService; }

    // Absent when nothing is stored. Throws "保存的配对密钥无效" for a stored key that is unusable.
    std::optional<PairingProfile> load(const std::string& account) const;
    // Refuses a profile with an unusable key ("无效配对密钥"); otherwise replaces the item.
    void save(const PairingProfile& profile, const std::string& account) const;
    // An empty history when nothing is stored. A stored item in an older form is rewritten in the
    // current form before it is returned.
    PairingHistory loadPhoneHistory() const;
    void savePhoneHistory(const PairingHistory& history) const;
    // Removing an item that does not exist succeeds.
    void remove(const std::string& account) const;

    // A new profile with a random id and a 256-bit key from the kernel; not stored.
    static PairingProfile create(std::string name);

    // Items other parts keep beside the pairing (the browser endpoint's certificate and its
    // paired browsers), as text this store does not look into. Absent when nothing is stored.
    std::optional<std::string> readData(const std::string& account) const;
    void writeData(std::string_view data, const std::string& account) const;

private:
    using Items = std::variant<SecretServiceItemStore, FileItemStore>;

    explicit KeychainStore(Items items) : m_items(std::move(items)) {}

    Items m_items;
};

} // namespace quillvane
