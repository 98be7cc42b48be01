// Pairing links arrive from any QR code or clipboard. Parsing must either refuse with one of its
// own texts or yield a profile that is usable and survives its own link; and any name the Mac may
// carry must come back from its link as the same (or, past 100 characters, the cut) name.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "pairing/PairingProfile.h"
#include "protocol/PadError.h"
#include "protocol/Unicode.h"

namespace {

using quillvane::PadError;
using quillvane::PairingProfile;

constexpr std::string_view kNotALink = "请扫描或粘贴 Quillvane Mac 端配对码";

void check(bool condition) {
    if (!condition)
        __builtin_trap();
}

bool isOwnText(const std::string& message) {
    return message == kNotALink || message == "配对码不完整" || message == "配对密钥无效";
}

bool isPlainAsciiLink(std::string_view url) {
    for (const char c : url)
        if (c < 0x21 || c > 0x7E)
            return false;
    return url.starts_with("quillvane://pair?id=");
}

// Parses a profile's own link. A link longer than the paste bound is refused like any other long
// text (a name of 100 huge characters can need more); anything shorter must give the profile back.
void checkLinkRoundTrip(const PairingProfile& profile, const PairingProfile& expected) {
    const std::string url = profile.url();
    check(isPlainAsciiLink(url));
    if (quillvane::characterCount(url) >= PairingProfile::kMaxLinkCharacters) {
        try {
            PairingProfile::parse(url);
            check(false);
        } catch (const PadError& error) {
            check(error.message() == kNotALink);
        }
        return;
    }
    check(PairingProfile::parse(url) == expected);
}

void checkParse(std::string_view text) {
    PairingProfile profile;
    try {
        profile = PairingProfile::parse(text);
    } catch (const PadError& error) {
        check(isOwnText(error.message()));
        return;
    }
    check(profile.keyData().has_value());
    check(quillvane::isValidUtf8(profile.name));
    check(quillvane::characterCount(profile.name) <= PairingProfile::kMaxNameCharacters);
    checkLinkRoundTrip(profile, profile);
}

void checkNameRoundTrip(std::string_view text) {
    if (!quillvane::isValidUtf8(text))
        return;
    const PairingProfile profile{
        *quillvane::Uuid::parse("6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23"), std::string(text),
        "00112233445566778899aabbccddeeff0123456789abcdeffedcba9876543210"};
    PairingProfile expected = profile;
    expected.name =
        std::string(quillvane::characterPrefix(text, PairingProfile::kMaxNameCharacters));
    checkLinkRoundTrip(profile, expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkParse(text);
    checkNameRoundTrip(text);
    return 0;
}
