#include "LinkReception.h"

#include <algorithm>
#include <utility>

#include "Clock.h"

namespace quillvane {

LinkReception::LinkReception(Clock& clock, QObject* parent) : QObject(parent), m_clock(clock) {}

// Links still held are children and go with the reception, without their close handlers.
LinkReception::~LinkReception() = default;

void LinkReception::receive(Link* link) {
    link->setParent(this);
    // Links in any state count, handshakes included, so a flood cannot grow the table; but
    // connections that have not proven the key cannot keep the phone out either.
    const LinkAdmission::Decision decision = m_table.admit(link, m_clock.now());
    if (!decision.admitted) {
        park(link);
        link->start();
        return;
    }
    if (const QPointer<Link> displaced = decision.displaced) {
        if (displaced->isSilent()) {
            park(displaced);
        } else {
            // Released without its close handler: the admission log accounts for displaced links
            // once a second, where a flood would otherwise write a "Peer closed" line for each.
            displaced->onClose = nullptr;
            displaced->close();
            displaced->deleteLater();
        }
    }

    QPointer<Link> weak(link);
    link->onMessage = [this, weak](const WireMessage& message) {
        if (weak && onMessage)
            onMessage(*weak, message);
    };
    link->onClose = [this, weak](const std::optional<QString>& reason) {
        if (weak)
            closed(weak, reason);
    };
    link->start();

    // Owned by the link, so it goes with it.
    m_clock.after(kBindDeadline, link, [this, weak] {
        if (weak && !(isBound && isBound(*weak)))
            weak->close(QStringLiteral("会话握手超时"));
    });
}

void LinkReception::park(Link* link) {
    // A squatter reopens the moment its connection is closed and takes the next place, and that
    // cycle, thousands of times a second, is what costs the host its time. Left open, a connection
    // that never spoke holds nothing of the table and costs nothing until its transport's own
    // deadline ends it. One that speaks after all (a phone whose first packet was late) is closed
    // at once, so it retries without waiting. The oldest go when too many wait.
    QPointer<Link> weak(link);
    link->onMessage = nullptr;
    link->onFirstBytes = [weak] {
        if (weak)
            weak->close();
    };
    // Without a "Peer closed" line: the admission log counts these.
    link->onClose = [weak](const std::optional<QString>&) {
        if (weak)
            weak->deleteLater();
    };
    std::erase_if(m_parked,
                  [](const QPointer<Link>& parked) { return !parked || parked->isClosed(); });
    m_parked.push_back(weak);
    while (m_parked.size() > kMaximumParked) {
        const QPointer<Link> oldest = m_parked.front();
        m_parked.pop_front();
        if (oldest)
            oldest->close();
    }
}

void LinkReception::closed(Link* link, const std::optional<QString>& reason) {
    m_table.remove(link);
    if (onClose)
        onClose(*link, reason);
    link->deleteLater();
}

void LinkReception::closeAll() {
    // Closing a link removes it from the table through its close handler; take the table first.
    for (auto& link : m_table.takeAll())
        if (link)
            link->close();
    for (auto& link : std::exchange(m_parked, {}))
        if (link)
            link->close();
}

} // namespace quillvane
