#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "keychain/ItemRead.h"

namespace quillvane {

// Pairing items as files, for desktops without a Secret Service: one file per account, readable by
// this user only (folder 0700, file 0600), replaced atomically (a complete temporary file is
// synced and renamed over the old one) so that a crash leaves either the old item or the new one.
// Nothing protects the key beyond file permissions. Statuses are errno values.
class FileItemStore {
public:
    explicit FileItemStore(std::filesystem::path directory);

    // $XDG_DATA_HOME/quillvane, by default ~/.local/share/quillvane.
    static std::filesystem::path defaultDirectory();

    const std::filesystem::path& directory() const { return m_directory; }
    std::filesystem::path pathFor(const std::string& account) const;

    ItemRead read(const std::string& account) const;
    int write(const std::string& account, std::string_view data) const;
    int remove(const std::string& account) const;

private:
    std::filesystem::path m_directory;
};

} // namespace quillvane
