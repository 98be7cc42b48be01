#include "keychain/FileItemStore.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QStandardPaths>

namespace quillvane {

namespace {

// A pairing item is a few hundred bytes; a history of many hosts stays far below this. Anything
// larger is not ours.
constexpr std::size_t kMaxItemSize = 1 << 20;

// Account names become file names: bytes outside [A-Za-z0-9_-] are written as %XX, so no account
// can climb out of the folder or hide as a dot file.
std::string fileNameFor(const std::string& account) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string name = "pairing-";
    for (const char c : account) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
            (byte >= '0' && byte <= '9') || byte == '_' || byte == '-') {
            name += c;
        } else {
            name += '%';
            name += kHex[byte >> 4];
            name += kHex[byte & 0xF];
        }
    }
    return name + ".json";
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const { return m_fd; }
    // Closes now, because close can report a late write error.
    int close() {
        const int result = ::close(m_fd);
        m_fd = -1;
        return result;
    }

private:
    int m_fd;
};

int syncDirectory(const std::filesystem::path& directory) {
    FileDescriptor fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0 || ::fsync(fd.get()) != 0)
        return errno;
    return 0;
}

int writeAll(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t written = ::write(fd, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        data.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace

FileItemStore::FileItemStore(std::filesystem::path directory) : m_directory(std::move(directory)) {}

std::filesystem::path FileItemStore::defaultDirectory() {
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return std::filesystem::path(data.toStdString()) / "quillvane";
}

std::filesystem::path FileItemStore::pathFor(const std::string& account) const {
    return m_directory / fileNameFor(account);
}

ItemRead FileItemStore::read(const std::string& account) const {
    FileDescriptor fd(::open(pathFor(account).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (fd.get() < 0)
        return errno == ENOENT ? ItemRead{} : ItemRead{errno, std::nullopt};
    std::string data;
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return {errno, std::nullopt};
        }
        if (got == 0)
            break;
        data.append(buffer, static_cast<std::size_t>(got));
        if (data.size() > kMaxItemSize)
            return {EFBIG, std::nullopt};
    }
    return {0, std::move(data)};
}

int FileItemStore::write(const std::string& account, std::string_view data) const {
    std::error_code error;
    std::filesystem::create_directories(m_directory.parent_path(), error);
    if (error)
        return error.value();
    if (::mkdir(m_directory.c_str(), 0700) != 0 && errno != EEXIST)
        return errno;
    const std::filesystem::path target = pathFor(account);
    // A unique name per attempt: two writers never share a temporary file, and one left behind
    // by a crash is never read (loading only opens the target).
    std::string temporary = target.string() + ".tmp-XXXXXX";
    FileDescriptor fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (fd.get() < 0)
        return errno;
    int status = ::fchmod(fd.get(), 0600) == 0 ? 0 : errno;
    if (status == 0)
        status = writeAll(fd.get(), data);
    if (status == 0 && ::fsync(fd.get()) != 0)
        status = errno;
    if (fd.close() != 0 && status == 0)
        status = errno;
    if (status == 0 && ::rename(temporary.c_str(), target.c_str()) != 0)
        status = errno;
    if (status != 0) {
        ::unlink(temporary.c_str());
        return status;
    }
    // The rename itself is durable only once the folder is synced.
    return syncDirectory(m_directory);
}

int FileItemStore::remove(const std::string& account) const {
    if (::unlink(pathFor(account).c_str()) != 0)
        return errno == ENOENT ? 0 : errno;
    return syncDirectory(m_directory);
}

} // namespace quillvane
