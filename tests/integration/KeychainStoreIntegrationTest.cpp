// Pairing storage against the private gnome-keyring of scripts/test-env and against files, with
// the items checked from outside (secret-tool, the file system) where a user or a crash would
// touch them.

#include <cstdlib>
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

using testing_support::IntegrationTest;
using testing_support::runTool;

const std::string kService(KeychainStore::service);

testing_support::ToolResult secretTool(std::initializer_list<std::string> arguments,
                                       const std::string& input = {}) {
    QStringList list;
    for (const std::string& argument : arguments)
        list << QString::fromStdString(argument);
    return runTool(QStringLiteral("secret-tool"), list, QByteArray::fromStdString(input));
}

std::string errorText(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const PadError& error) {
        return error.message();
    }
    return "(no PadError)";
}

PairingProfile upperCased(PairingProfile profile) {
    for (char& c : profile.secret)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return profile;
}

class KeychainStoreIntegration : public IntegrationTest,
                                 public ::testing::WithParamInterface<KeychainStore::Backend> {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_directory.isValid());
    }

    void TearDown() override {
        if (secretService())
            secretTool({"clear", "service", kService, "account", m_account});
    }

    bool secretService() const { return GetParam() == KeychainStore::Backend::SecretService; }

    KeychainStore store() const {
        return secretService() ? KeychainStore::secretService()
                               : KeychainStore::fileStore(fileDirectory());
    }
    std::filesystem::path fileDirectory() const {
        return std::filesystem::path(m_directory.path().toStdString()) / "quillvane";
    }

    // Writes an item the way a user or another program would, bypassing the store's checks.
    void writeRaw(const std::string& account, const std::string& text) const {
        if (secretService()) {
            const auto result = secretTool(
                {"store", "--label=edited by hand", "service", kService, "account", account}, text);
            ASSERT_EQ(result.exitCode, 0) << result.errors.toStdString();
        } else {
            std::filesystem::create_directories(fileDirectory());
            std::ofstream(FileItemStore(fileDirectory()).pathFor(account)) << text;
        }
    }

    std::string readRaw(const std::string& account) const {
        if (secretService()) {
            return secretTool({"lookup", "service", kService, "account", account})
                .output.toStdString();
        }
        std::ifstream file(FileItemStore(fileDirectory()).pathFor(account));
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    int itemCount(const std::string& account) const {
        if (secretService()) {
            // One "[/path]" header line per item.
            const auto result =
                secretTool({"search", "--all", "service", kService, "account", account});
            int count = 0;
            for (const QString& line : result.output.split(QLatin1Char('\n')))
                count += line.startsWith(QLatin1Char('[')) ? 1 : 0;
            return count;
        }
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(fileDirectory()))
            count += entry.path().filename().string().starts_with("pairing-") ? 1 : 0;
        return count;
    }

    QTemporaryDir m_directory;
    // A fresh account per case keeps the cases apart in the one shared keyring.
    const std::string m_account = "test-" + randomUuid().toString();
};

TEST_P(KeychainStoreIntegration, aSavedProfileSurvivesAReload) {
    EXPECT_EQ(store().load(m_account), std::nullopt);
    const PairingProfile profile = KeychainStore::create("Studio 电脑");
    store().save(profile, m_account);
    EXPECT_EQ(store().load(m_account), profile);
}

TEST_P(KeychainStoreIntegration, savingTwiceKeepsOneItemWithTheLatestProfile) {
    store().save(KeychainStore::create("first"), m_account);
    const PairingProfile second = KeychainStore::create("second");
    store().save(second, m_account);
    EXPECT_EQ(itemCount(m_account), 1);
    EXPECT_EQ(store().load(m_account), second);
}

TEST_P(KeychainStoreIntegration, removeDeletesAndToleratesAnAccountNeverWritten) {
    EXPECT_NO_THROW(store().remove(m_account));
    store().save(KeychainStore::create("Mac"), m_account);
    store().remove(m_account);
    EXPECT_EQ(store().load(m_account), std::nullopt);
    EXPECT_EQ(itemCount(m_account), 0);
}

TEST_P(KeychainStoreIntegration, aStoredUpperCaseSecretIsRefusedOnLoad) {
    writeRaw(m_account, upperCased(KeychainStore::create("Mac")).toJson());
    EXPECT_EQ(errorText([&] { store().load(m_account); }), "保存的配对密钥无效");
}

TEST_P(KeychainStoreIntegration, anUnusableKeyIsNotSavedAndTheOldItemStays) {
    const PairingProfile kept = KeychainStore::create("Mac");
    store().save(kept, m_account);
    EXPECT_EQ(errorText([&] { store().save(upperCased(kept), m_account); }), "无效配对密钥");
    EXPECT_EQ(store().load(m_account), kept);
}

TEST_P(KeychainStoreIntegration, storedTextThatIsNotJsonFailsWithTheDecodersError) {
    writeRaw(m_account, "{\"id\": 1");
    EXPECT_THROW(store().load(m_account), JsonError);
}

// Only the Secret Service case touches the shared "phone" account; the file case has its own
// folder.
TEST_P(KeychainStoreIntegration, aLegacyPhoneItemIsMigratedOnceAndHistoriesRoundTrip) {
    const std::string phone(KeychainStore::phoneAccount);
    store().remove(phone);
    EXPECT_TRUE(store().loadPhoneHistory().profiles().empty());

    const PairingProfile legacy = KeychainStore::create("Old Mac");
    writeRaw(phone, legacy.toJson());
    const PairingHistory migrated = store().loadPhoneHistory();
    ASSERT_EQ(migrated.profiles().size(), 1u);
    EXPECT_EQ(migrated.profiles().front(), legacy);
    EXPECT_EQ(migrated.selectedID(), legacy.id);
    EXPECT_EQ(readRaw(phone), migrated.toJson()) << "the legacy item was not rewritten";

    PairingHistory history = migrated;
    history.add(KeychainStore::create("New Mac"));
    store().savePhoneHistory(history);
    EXPECT_EQ(store().loadPhoneHistory(), history);
    store().remove(phone);
}

INSTANTIATE_TEST_SUITE_P(Backends, KeychainStoreIntegration,
                         ::testing::Values(KeychainStore::Backend::SecretService,
                                           KeychainStore::Backend::File),
                         [](const auto& info) { return ::testing::PrintToString(info.param); });

class FileItemStoreIntegration : public IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_temporary.isValid());
    }

    std::filesystem::path directory() const {
        return std::filesystem::path(m_temporary.path().toStdString()) / "quillvane";
    }

    QTemporaryDir m_temporary;
};

TEST_F(FileItemStoreIntegration, onlyThisUserCanReadTheKey) {
    const KeychainStore store = KeychainStore::fileStore(directory());
    EXPECT_FALSE(store.isProtected());
    store.save(KeychainStore::create("Mac"), "host");
    struct stat file {};
    ASSERT_EQ(::stat(FileItemStore(directory()).pathFor("host").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0600u);
    struct stat folder {};
    ASSERT_EQ(::stat(directory().c_str(), &folder), 0);
    EXPECT_EQ(folder.st_mode & 07777, 0700u);
}

TEST_F(FileItemStoreIntegration, aTornWriteLeavesTheLastCompleteItem) {
    const KeychainStore store = KeychainStore::fileStore(directory());
    const PairingProfile saved = KeychainStore::create("Mac");
    store.save(saved, "host");
    // What a crash between writing and renaming leaves behind.
    const std::filesystem::path target = FileItemStore(directory()).pathFor("host");
    std::ofstream(target.string() + ".tmp-Xy12ab") << "{\"id\":\"6B1C2A90-5D3E";
    EXPECT_EQ(store.load("host"), saved);
    const PairingProfile next = KeychainStore::create("Mac");
    store.save(next, "host");
    EXPECT_EQ(store.load("host"), next);

    std::filesystem::remove(target);
    EXPECT_EQ(store.load("host"), std::nullopt);
}

TEST_F(FileItemStoreIntegration, systemFailuresCarryTheErrnoInFullWidthBrackets) {
    const KeychainStore store = KeychainStore::fileStore(directory());
    std::filesystem::create_directories(FileItemStore(directory()).pathFor("host"));
    EXPECT_EQ(errorText([&] { store.load("host"); }), "无法读取配对钥匙串（21）"); // EISDIR
    const KeychainStore blocked = KeychainStore::fileStore("/dev/null/quillvane");
    EXPECT_EQ(errorText([&] { blocked.save(KeychainStore::create("Mac"), "host"); }),
              "无法保存配对钥匙串（20）"); // ENOTDIR
}

TEST_F(FileItemStoreIntegration, accountNamesCannotLeaveTheFolder) {
    const KeychainStore store = KeychainStore::fileStore(directory());
    const PairingProfile profile = KeychainStore::create("Mac");
    store.save(profile, "../escape");
    EXPECT_EQ(store.load("../escape"), profile);
    EXPECT_FALSE(std::filesystem::exists(directory().parent_path() / "escape"));
    EXPECT_EQ(FileItemStore(directory()).pathFor("../escape").parent_path(), directory());
}

TEST(KeychainStoreProbe, opensTheSecretServiceWhenOneAnswers) {
    ASSERT_STREQ(std::getenv("QUILLVANE_TEST_ENV"), "1") << "run under scripts/test-env";
    EXPECT_EQ(KeychainStore::open().backend(), KeychainStore::Backend::SecretService);
}

TEST(KeychainStoreProbe, fallsBackToFilesWithoutASessionBus) {
    ASSERT_STREQ(std::getenv("QUILLVANE_TEST_ENV"), "1") << "run under scripts/test-env";
    // A fresh process: libsecret keeps its bus connection for the life of the process.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/quillvane-bus", 1);
            const KeychainStore store = KeychainStore::open();
            std::exit(store.backend() == KeychainStore::Backend::File ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(KeychainStoreCreate, makesUsableDistinctProfiles) {
    const PairingProfile first = KeychainStore::create("Studio Mac");
    const PairingProfile second = KeychainStore::create("Studio Mac");
    EXPECT_EQ(first.name, "Studio Mac");
    EXPECT_EQ(first.secret.size(), 64u);
    EXPECT_TRUE(first.keyData());
    EXPECT_EQ(first.secret.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_NE(first.id, second.id);
    EXPECT_NE(first.secret, second.secret);
}

} // namespace
} // namespace quillvane
