// Pairing storage against the private gnome-keyring of scripts/test-env and against files, with
// the items checked from outside (secret-tool, the file system) where a user or a crash would
// touch them.

#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include "IntegrationTest.h"

#include <QTemporaryDir>

#include "Random.h"
#include "keychain/KeychainStore.h"
#include "protocol/PadError.h"

namespace quillvane {

// Names the backend in test names and failure messages.
void PrintTo(KeychainStore::Backend backend, std::ostream* out) {
    *out << (backend == KeychainStore::Backend::SecretService ? "SecretService" : "File");
}

namespace {

const QString kService = QString::fromLatin1(KeychainStore::service);

class KeychainStoreIntegration : public testing_support::IntegrationTest,
                                 public ::testing::WithParamInterface<KeychainStore::Backend> {
protected:
    void TearDown() override {
        if (secretService())
            secretTool({QStringLiteral("clear")}, m_account);
    }

    bool secretService() const { return GetParam() == KeychainStore::Backend::SecretService; }
    KeychainStore store() const {
        return secretService() ? KeychainStore::secretService() : KeychainStore::fileStore(m_dir);
    }
    std::filesystem::path path(const std::string& account) const {
        return FileItemStore(m_dir).pathFor(account);
    }

    // secret-tool `command` on the item of `account`.
    static testing_support::ToolResult secretTool(const QStringList& command,
                                                  const std::string& account,
                                                  const std::string& input = {}) {
        const QStringList item{QStringLiteral("service"), kService, QStringLiteral("account"),
                               QString::fromStdString(account)};
        return testing_support::runTool(QStringLiteral("secret-tool"), command + item,
                                        QByteArray::fromStdString(input));
    }

    // Writes or reads an item the way a user or another program would, bypassing the store.
    void writeRaw(const std::string& account, const std::string& text) const {
        if (!secretService()) {
            std::filesystem::create_directories(m_dir);
            std::ofstream(path(account)) << text;
            return;
        }
        const auto result =
            secretTool({QStringLiteral("store"), QStringLiteral("--label=by hand")}, account, text);
        ASSERT_EQ(result.exitCode, 0) << result.errors.toStdString();
    }
    std::string readRaw(const std::string& account) const {
        if (secretService())
            return secretTool({QStringLiteral("lookup")}, account).output.toStdString();
        std::ifstream file(path(account));
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    // One "[/path]" header line per item; in files, the folder holds nothing else.
    long itemCount(const std::string& account) const {
        if (!secretService())
            return std::distance(std::filesystem::directory_iterator(m_dir), {});
        const QString items =
            secretTool({QStringLiteral("search"), QStringLiteral("--all")}, account).output;
        return (QLatin1Char('\n') + items).count(QStringLiteral("\n["));
    }

    QTemporaryDir m_temporary;
    const std::filesystem::path m_dir = m_temporary.path().toStdString() + "/quillvane";
    // A fresh account per case keeps the cases apart in the one shared keyring.
    const std::string m_account = "test-" + randomUuid().toString();
};

TEST_P(KeychainStoreIntegration, refusesAnEditedKeySavesOverAnyItemRemovesAndReloads) {
    EXPECT_NO_THROW(store().remove(m_account)) << "an account never written";
    EXPECT_EQ(store().load(m_account), std::nullopt);
    // An item edited by hand to an upper-case key is refused on load...
    PairingProfile edited = KeychainStore::create("Mac");
    for (char& c : edited.secret)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    writeRaw(m_account, edited.toJson());
    try {
        store().load(m_account);
        ADD_FAILURE() << "loaded";
    } catch (const PadError& error) {
        EXPECT_EQ(error.message(), "保存的配对密钥无效");
    }
    // ...and saved over, twice: one item remains, with the latest profile.
    store().save(KeychainStore::create("first"), m_account);
    const PairingProfile profile = KeychainStore::create("Studio 电脑");
    store().save(profile, m_account);
    EXPECT_EQ(itemCount(m_account), 1);
    EXPECT_EQ(store().load(m_account), profile);
    if (!secretService()) {
        struct stat file {};
        ASSERT_EQ(::stat(path(m_account).c_str(), &file), 0);
        EXPECT_EQ(file.st_mode & 07777, 0600u) << "the key must be readable by this user only";
    }
    store().remove(m_account);
    EXPECT_EQ(store().load(m_account), std::nullopt);
    EXPECT_EQ(itemCount(m_account), 0);
}

// Only the Secret Service case touches the shared "phone" account; the file case has its own
// folder.
TEST_P(KeychainStoreIntegration, aLegacyPhoneItemIsMigratedOnceAndHistoriesRoundTrip) {
    const std::string phone(KeychainStore::phoneAccount);
    store().remove(phone);
    EXPECT_TRUE(store().loadPhoneHistory().profiles().empty());

    const PairingProfile legacy = KeychainStore::create("Old Mac");
    writeRaw(phone, legacy.toJson());
    PairingHistory history = store().loadPhoneHistory();
    ASSERT_EQ(history.profiles(), std::vector{legacy});
    EXPECT_EQ(history.selectedID(), legacy.id);
    EXPECT_EQ(readRaw(phone), history.toJson()) << "the legacy item was not rewritten";

    history.add(KeychainStore::create("New Mac"));
    store().savePhoneHistory(history);
    EXPECT_EQ(store().loadPhoneHistory(), history);
    store().remove(phone);
}

INSTANTIATE_TEST_SUITE_P(Backends, KeychainStoreIntegration,
                         ::testing::Values(KeychainStore::Backend::SecretService,
                                           KeychainStore::Backend::File),
                         [](const auto& info) { return ::testing::PrintToString(info.param); });

} // namespace
} // namespace quillvane
