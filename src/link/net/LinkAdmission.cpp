#include "LinkAdmission.h"

#include <algorithm>
#include <map>

#include <QLoggingCategory>

namespace quillvane {

namespace {

Q_LOGGING_CATEGORY(lcAdmission, "app.quillvane.LinkAdmission", QtInfoMsg)

// A flood displaces thousands of links a second; the log gets one line a second with the counts.
constexpr double kLogPeriod = 1.0;

// Only links still in their handshake can lose their place.
bool unfinished(const QPointer<Link>& link) {
    return link && !link->isClosed() && !link->isAuthenticated();
}

// IPv4 peers of the dual-stack listener arrive as IPv4-mapped IPv6 addresses; the log shows them
// as what they are.
QHostAddress plain(const QHostAddress& address) {
    bool isIPv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIPv4);
    return isIPv4 ? QHostAddress(ipv4) : address;
}

} // namespace

LinkAdmission::Decision LinkAdmission::admit(Link* link, double now) {
    // A link deleted without a close left no close handler to take it out.
    std::erase_if(m_entries, [](const Entry& entry) { return entry.link.isNull(); });

    Decision decision;
    const QHostAddress address = plain(link->peerAddress());
    if (m_entries.size() >= m_capacity) {
        const std::ptrdiff_t victim = victimFor(address);
        if (victim < 0) {
            log(address, nullptr, now);
            return decision;
        }
        const auto at = m_entries.begin() + victim;
        log(address, &*at, now);
        decision.displaced = at->link;
        m_entries.erase(at);
    }
    m_entries.push_back({link, address});
    decision.admitted = true;
    return decision;
}

std::ptrdiff_t LinkAdmission::victimFor(const QHostAddress& address) const {
    struct Share {
        int count = 0;
        std::ptrdiff_t oldest = -1;
    };
    // Keyed by text: QHostAddress has no ordering, and the table is eight entries long.
    std::map<QString, Share> shares;
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        if (!unfinished(m_entries[i].link))
            continue;
        Share& share = shares[m_entries[i].address.toString()];
        if (share.oldest < 0)
            share.oldest = static_cast<std::ptrdiff_t>(i);
        ++share.count;
    }
    const Share own = shares[address.toString()];
    // The newcomer counts for its own address; on a tie its own address gives way, so a lone
    // handshake under way is never displaced by an address that holds no more than it.
    const Share* largest = &own;
    int largestCount = own.count + 1;
    for (const auto& [key, share] : shares) {
        if (share.count > largestCount ||
            (share.count == largestCount && largest != &own && share.oldest < largest->oldest)) {
            largest = &share;
            largestCount = share.count;
        }
    }
    return largest->oldest;
}

void LinkAdmission::log(const QHostAddress& newcomer, const Entry* displaced, double now) {
    ++(displaced ? m_displacedSinceLog : m_refusedSinceLog);
    if (now - m_lastLog < kLogPeriod)
        return;
    const QString since = QStringLiteral("; since the last line %1 displaced, %2 refused")
                              .arg(m_displacedSinceLog)
                              .arg(m_refusedSinceLog);
    // Peer addresses and counts only: nothing of a handshake, and so never the key.
    if (displaced) {
        const QString from = displaced->address.toString();
        const auto held = std::count_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) {
            return unfinished(e.link) && e.address.toString() == from;
        });
        qCInfo(lcAdmission).noquote()
            << QStringLiteral("Displaced the oldest unauthenticated link of %1, which held %2 of "
                              "%3 places, for a connection from %4")
                       .arg(from)
                       .arg(held)
                       .arg(m_capacity)
                       .arg(newcomer.toString()) +
                   since;
    } else {
        qCInfo(lcAdmission).noquote()
            << QStringLiteral("Refused a connection from %1: no address holds more of the %2 places "
                              "with unauthenticated links than its own")
                       .arg(newcomer.toString())
                       .arg(m_capacity) +
                   since;
    }
    m_lastLog = now;
    m_displacedSinceLog = 0;
    m_refusedSinceLog = 0;
}

void LinkAdmission::remove(const Link* link) {
    std::erase_if(m_entries, [&](const Entry& entry) {
        return entry.link.isNull() || entry.link.data() == link;
    });
}

std::vector<QPointer<Link>> LinkAdmission::takeAll() {
    std::vector<QPointer<Link>> links;
    for (Entry& entry : m_entries)
        links.push_back(entry.link);
    m_entries.clear();
    return links;
}

} // namespace quillvane
