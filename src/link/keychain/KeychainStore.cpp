#include "keychain/KeychainStore.h"

#include <array>
#include <cstdint>

#include <QLoggingCategory>

#include "Random.h"
#include "protocol/PadError.h"

namespace quillvane {

namespace {

Q_LOGGING_CATEGORY(lcKeychainStore, "app.quillvane.KeychainStore")

// Store statuses are shown to the user in full-width brackets, as signed decimals.
PadError statusError(const char* text, int status) {
    return PadError::invalid(std::string(text) + "（" + std::to_string(status) + "）");
}

void logChoice(const KeychainStore& store, const std::filesystem::path& directory) {
    static std::optional<KeychainStore::Backend> logged;
    if (logged == store.backend())
        return;
    logged = store.backend();
    if (store.isProtected())
        qCInfo(lcKeychainStore, "Pairing keys are kept in the Secret Service");
    else
        qCWarning(lcKeychainStore,
                  "No Secret Service on the session bus; pairing keys are kept unprotected in %s",
                  directory.c_str());
}

} // namespace

KeychainStore KeychainStore::open() {
    const std::filesystem::path directory = FileItemStore::defaultDirectory();
    KeychainStore store =
        SecretServiceItemStore::isAvailable() ? secretService() : fileStore(directory);
    logChoice(store, directory);
    return store;
}

KeychainStore KeychainStore::secretService() {
    return KeychainStore(SecretServiceItemStore{});
}

KeychainStore KeychainStore::fileStore(std::filesystem::path directory) {
    return KeychainStore(FileItemStore(std::move(directory)));
}

KeychainStore::Backend KeychainStore::backend() const {
    return std::holds_alternative<SecretServiceItemStore>(m_items) ? Backend::SecretService
                                                                   : Backend::File;
}

std::optional<PairingProfile> KeychainStore::load(const std::string& account) const {
    const std::optional<std::string> data = readData(account);
    if (!data)
        return std::nullopt;
    PairingProfile profile = PairingProfile::fromJson(*data);
    if (!profile.keyData())
        throw PadError::invalid("保存的配对密钥无效");
    return profile;
}

void KeychainStore::save(const PairingProfile& profile, const std::string& account) const {
    if (!profile.keyData())
        throw PadError::invalid("无效配对密钥");
    writeData(profile.toJson(), account);
}

PairingHistory KeychainStore::loadPhoneHistory() const {
    const std::string account(phoneAccount);
    const std::optional<std::string> data = readData(account);
    if (!data)
        return PairingHistory();
    PairingHistory::DecodedHistory decoded = PairingHistory::decodeStored(*data);
    // Migrated once: the next load finds the current form.
    if (decoded.legacy)
        writeData(decoded.history.toJson(), account);
    return std::move(decoded.history);
}

void KeychainStore::savePhoneHistory(const PairingHistory& history) const {
    writeData(history.toJson(), std::string(phoneAccount));
}

void KeychainStore::remove(const std::string& account) const {
    const int status =
        std::visit([&](const auto& items) { return items.remove(account); }, m_items);
    if (status != 0)
        throw statusError("无法删除配对", status);
}

PairingProfile KeychainStore::create(std::string name) {
    std::array<std::uint8_t, 32> key{};
    if (!secureRandomBytes(key))
        throw PadError::invalid("无法生成配对密钥");
    static constexpr char kHex[] = "0123456789abcdef";
    std::string secret;
    secret.reserve(key.size() * 2);
    for (const std::uint8_t byte : key) {
        secret += kHex[byte >> 4];
        secret += kHex[byte & 0xF];
    }
    return PairingProfile{randomUuid(), std::move(name), std::move(secret)};
}

std::optional<std::string> KeychainStore::readData(const std::string& account) const {
    ItemRead read = std::visit([&](const auto& items) { return items.read(account); }, m_items);
    if (read.status != 0)
        throw statusError("无法读取配对钥匙串", read.status);
    return std::move(read.data);
}

void KeychainStore::writeData(std::string_view data, const std::string& account) const {
    const int status =
        std::visit([&](const auto& items) { return items.write(account, data); }, m_items);
    if (status != 0)
        throw statusError("无法保存配对钥匙串", status);
}

} // namespace quillvane
