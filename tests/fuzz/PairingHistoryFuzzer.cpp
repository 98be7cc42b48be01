// The phone's pairing history is read back from the keychain, where an older version, another
// build or a damaged item may have left anything. Reading must either refuse with a JSON or rule
// error or give a history whose invariants hold and whose stored form reads back unchanged.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "FuzzInput.h"
#include "pairing/PairingHistory.h"
#include "protocol/PadError.h"

namespace {

using quillvane::check;
using quillvane::PairingHistory;

void checkInvariants(const PairingHistory::DecodedHistory& decoded) {
    const PairingHistory& history = decoded.history;
    check(history.version() == 1);
    std::set<quillvane::Uuid> ids;
    for (const auto& profile : history.profiles()) {
        check(ids.insert(profile.id).second);
        check(profile.keyData().has_value());
    }
    // The selection is one of the profiles, and selected() agrees with selectedID().
    const auto* selected = history.selected();
    check(selected ? ids.contains(selected->id) && history.selectedID() == selected->id
                   : !history.selectedID());
    // A legacy item held one profile, which becomes the selected one.
    check(!decoded.legacy ||
          (history.profiles().size() == 1 && history.selectedID() == history.profiles()[0].id));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    PairingHistory::DecodedHistory decoded;
    try {
        decoded = PairingHistory::decodeStored(bytes);
    } catch (const quillvane::PadError&) {
        return 0;
    } catch (const quillvane::JsonError&) {
        return 0;
    }
    checkInvariants(decoded);

    // Anything that was read must be writable, and the rewrite is the current form.
    const std::string stored = decoded.history.toJson();
    const auto reread = PairingHistory::decodeStored(stored);
    check(!reread.legacy);
    check(reread.history == decoded.history);
    check(PairingHistory::fromJson(stored) == decoded.history);
    return 0;
}
