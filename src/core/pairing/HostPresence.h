#pragma once

#include <optional>
#include <set>

#include "protocol/Uuid.h"

namespace quillvane {

// Which paired Macs the latest discovery pass saw on the network. Each pass carries a token;
// results tagged with any other token (an earlier pass, or one after stop()) are dropped, so a
// slow browse can never overwrite a newer one.
class HostPresence {
public:
    const std::set<Uuid>& onlineIDs() const { return m_onlineIDs; }
    bool searching() const { return m_searching; }
    const std::optional<Uuid>& discovery() const { return m_discovery; }

    // Starts a pass tagged with `token` and returns it. The core draws no random numbers, so the
    // caller supplies a fresh random UUID; reusing an old token would let that pass's late results
    // through.
    Uuid begin(Uuid token);
    bool accepts(const Uuid& token) const { return m_discovery == token; }
    // Replaces (never merges) the online set and ends the search, if `token` is the current pass.
    void update(std::set<Uuid> ids, const Uuid& token);
    void stop();
    // The Mac the phone is connected to counts as online even when its advertisement is missing
    // from the latest result.
    bool isOnline(const Uuid& id, const std::optional<Uuid>& connectedID) const;

private:
    std::set<Uuid> m_onlineIDs;
    bool m_searching = false;
    std::optional<Uuid> m_discovery;
};

} // namespace quillvane
