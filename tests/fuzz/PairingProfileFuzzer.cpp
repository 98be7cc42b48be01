// Pairing links arrive from any QR code or clipboard. Parsing must either refuse with one of its
// own texts or yield a profile that is usable and survives its own link; and any name the Mac may
// carry must come back from its link as the same (or, past 100 characters, the cut) name.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "FuzzInput.h"
#include "pairing/PairingProfile.h"
#include "protocol/PadError.h"
#include "protocol/Unicode.h"

namespace {

using quillvane::check;
using quillvane::PairingProfile;
using Parsed = std::variant<PairingProfile, std::string>;

const std::string kNotALink = "请扫描或粘贴 Quillvane 电脑端配对码";

// The profile, or the text of the refusal.
Parsed parse(std::string_view text) {
    try {
        return PairingProfile::parse(text);
    } catch (const quillvane::PadError& error) {
        return error.message();
    }
}

// Parses a profile's own link, which is plain ASCII. A link longer than the paste bound is refused
// like any other long text (a name of 100 huge characters can need more); anything shorter must
// give the profile back.
void checkLinkRoundTrip(const PairingProfile& profile, const PairingProfile& expected) {
    const std::string url = profile.url();
    check(url.starts_with("quillvane://pair?id=") &&
          std::ranges::all_of(url, [](char c) { return c >= 0x21 && c <= 0x7E; }));
    if (quillvane::characterCount(url) >= PairingProfile::kMaxLinkCharacters)
        check(parse(url) == Parsed(kNotALink));
    else
        check(parse(url) == Parsed(expected));
}

void checkParse(std::string_view text) {
    const Parsed parsed = parse(text);
    if (const auto* refusal = std::get_if<std::string>(&parsed)) {
        check(*refusal == kNotALink || *refusal == "配对码不完整" || *refusal == "配对密钥无效");
        return;
    }
    const PairingProfile& profile = std::get<PairingProfile>(parsed);
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
