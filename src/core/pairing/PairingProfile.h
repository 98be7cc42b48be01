#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "protocol/Uuid.h"

namespace quillvane {

class JsonWriter;

// Everything a Mac and a phone share to trust each other: the pairing id (also the TLS PSK identity
// and the DNS-SD instance name), the Mac's display name and the 256-bit key as 64 lower-case hex
// digits. Fields are stored as given; whether the key is usable is keyData()'s verdict, and every
// consumer of the key goes through it.
struct PairingProfile {
    using Key = std::array<std::uint8_t, 32>;

    // Longest name a parsed link keeps, in user-perceived characters.
    static constexpr std::size_t kMaxNameCharacters = 100;
    // The name of a computer that gave none: in a link without one, or a host without a name.
    static constexpr std::string_view kDefaultName = "电脑";
    // Pasted text of this many user-perceived characters or more is refused unread.
    static constexpr std::size_t kMaxLinkCharacters = 2048;

    Uuid id;
    std::string name;
    std::string secret;

    friend bool operator==(const PairingProfile&, const PairingProfile&) = default;

    // The decoded key, or nothing unless the secret is exactly 64 characters of 0-9 and a-f.
    // Upper-case hex is refused on purpose: the secret is only ever written in lower case.
    std::optional<Key> keyData() const;

    // The pairing link: quillvane://pair?id=<UUID>&name=<name>&key=<secret>, with every byte of a
    // value outside ALPHA DIGIT - . _ ~ percent-encoded. Empty when the name or secret is not valid
    // UTF-8 (no link could carry it back).
    std::string url() const;

    // Reads a scanned or pasted pairing link; throws PadError with the user-facing reason.
    static PairingProfile parse(std::string_view text);

    // The stored form {"id","name","secret"}. toJson throws JsonError for text that is not valid
    // UTF-8; fromJson requires all three keys and throws JsonError otherwise. Neither checks the
    // secret: that is keyData()'s job, and the callers decide which text to show.
    std::string toJson() const;
    // The stored form as one value of a larger document (the pairing history's list).
    void writeJson(JsonWriter& writer) const;
    static PairingProfile fromJson(std::string_view json);
};

} // namespace quillvane
