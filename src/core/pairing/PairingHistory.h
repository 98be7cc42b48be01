#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pairing/PairingProfile.h"
#include "protocol/Uuid.h"

namespace quillvane {

// The phone's list of paired Macs, in the order they were first added, and the one it connects
// to. Every operation keeps the invariants the stored form is checked for: unique ids, every key
// usable, and the selection (when present) naming a listed profile.
class PairingHistory {
public:
    static constexpr int kVersion = 1;

    PairingHistory() = default;

    int version() const { return kVersion; }
    const std::vector<PairingProfile>& profiles() const { return m_profiles; }
    const std::optional<Uuid>& selectedID() const { return m_selectedID; }
    const PairingProfile* selected() const;

    // Appends the profile, or replaces the one with the same id where it stands, and selects it.
    // Throws PadError for a profile whose key is unusable.
    void add(PairingProfile profile);
    // Throws PadError when no profile has this id; nothing changes then.
    void select(const Uuid& id);
    // Forgets the profile; when it was selected nothing is selected afterwards.
    void remove(const Uuid& id);

    friend bool operator==(const PairingHistory&, const PairingHistory&) = default;

    // The stored form {"version":1,"profiles":[...],"selectedID":"..."}; "selectedID" is left out
    // when nothing is selected. Throws JsonError for text that is not valid UTF-8.
    std::string toJson() const;
    // Reads the stored form: JsonError for missing keys or wrong types, PadError when the record
    // breaks an invariant or has another version. Records are refused whole, never repaired.
    static PairingHistory fromJson(std::string_view json);

    struct DecodedHistory;
    // Reads the keychain item: the stored form, or the older single-profile form, which becomes a
    // one-entry history with that profile selected and `legacy` set so the caller rewrites it.
    static DecodedHistory decodeStored(std::string_view bytes);

private:
    // A decoded record whose invariants were checked, taken as it stands (selection included).
    static PairingHistory fromCheckedRecord(std::vector<PairingProfile> profiles,
                                            std::optional<Uuid> selectedID);

    std::vector<PairingProfile> m_profiles;
    std::optional<Uuid> m_selectedID;
};

struct PairingHistory::DecodedHistory {
    PairingHistory history;
    bool legacy = false;
};

} // namespace quillvane
