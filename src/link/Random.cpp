#include "Random.h"

#include <cerrno>
#include <cstdlib>
#include <sys/random.h>

namespace quillvane {

bool secureRandomBytes(std::span<std::uint8_t> bytes) {
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        filled += static_cast<std::size_t>(got);
    }
    return true;
}

std::optional<QByteArray> randomBytes(qsizetype count) {
    QByteArray bytes(count, '\0');
    if (!secureRandomBytes({reinterpret_cast<std::uint8_t*>(bytes.data()), static_cast<std::size_t>(count)}))
        return std::nullopt;
    return bytes;
}

Uuid randomUuid() {
    Uuid::Bytes16 bytes{};
    if (!secureRandomBytes(bytes))
        std::abort();
    return Uuid::fromRandomBytes(bytes);
}

} // namespace quillvane
