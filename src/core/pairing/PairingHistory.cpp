#include "PairingHistory.h"

#include <algorithm>

#include "protocol/JsonWriter.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

constexpr const char* kUnknownProfile = "此设备的配对记录已移除";
constexpr const char* kInvalidKey = "配对密钥无效";

} // namespace

PairingHistory PairingHistory::fromCheckedRecord(std::vector<PairingProfile> profiles,
                                                 std::optional<Uuid> selectedID) {
    PairingHistory history;
    history.m_profiles = std::move(profiles);
    history.m_selectedID = selectedID;
    return history;
}

const PairingProfile* PairingHistory::selected() const {
    if (!m_selectedID)
        return nullptr;
    const auto found = std::find_if(m_profiles.begin(), m_profiles.end(),
                                    [&](const auto& p) { return p.id == *m_selectedID; });
    return found == m_profiles.end() ? nullptr : &*found;
}

void PairingHistory::add(PairingProfile profile) {
    if (!profile.keyData())
        throw PadError::invalid(kInvalidKey);
    m_selectedID = profile.id;
    const auto found = std::find_if(m_profiles.begin(), m_profiles.end(),
                                    [&](const auto& p) { return p.id == profile.id; });
    if (found != m_profiles.end())
        *found = std::move(profile);
    else
        m_profiles.push_back(std::move(profile));
}

void PairingHistory::select(const Uuid& id) {
    const bool known = std::any_of(m_profiles.begin(), m_profiles.end(),
                                   [&](const auto& p) { return p.id == id; });
    if (!known)
        throw PadError::invalid(kUnknownProfile);
    m_selectedID = id;
}

void PairingHistory::remove(const Uuid& id) {
    std::erase_if(m_profiles, [&](const auto& p) { return p.id == id; });
    if (m_selectedID == id)
        m_selectedID.reset();
}

std::string PairingHistory::toJson() const {
    std::string out;
    JsonWriter writer(out);
    writer.beginObject();
    writer.key("version");
    writer.integer(kVersion);
    writer.key("profiles");
    writer.beginArray();
    for (const auto& profile : m_profiles)
        profile.writeJson(writer);
    writer.endArray();
    if (m_selectedID) {
        writer.key("selectedID");
        writer.uuid(*m_selectedID);
    }
    writer.endObject();
    return out;
}

} // namespace quillvane
