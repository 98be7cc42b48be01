#include "HostPresence.h"

#include <utility>

namespace quillvane {

Uuid HostPresence::begin(Uuid token) {
    m_discovery = token;
    m_onlineIDs.clear();
    m_searching = true;
    return token;
}

void HostPresence::update(std::set<Uuid> ids, const Uuid& token) {
    if (!accepts(token))
        return;
    m_onlineIDs = std::move(ids);
    m_searching = false;
}

void HostPresence::stop() {
    m_discovery.reset();
    m_onlineIDs.clear();
    m_searching = false;
}

bool HostPresence::isOnline(const Uuid& id, const std::optional<Uuid>& connectedID) const {
    return connectedID == id || m_onlineIDs.contains(id);
}

} // namespace quillvane
