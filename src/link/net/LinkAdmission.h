#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <QHostAddress>
#include <QPointer>

#include "net/Link.h"

namespace quillvane {

// The host's table of links and who gets a place in it: at most `capacity` links in any state.
// A link that is authenticated has proven it holds the pairing key and keeps its place
// whatever arrives. Links still in their handshake share the rest per peer address: when the
// table is full, a newcomer takes the place of the oldest unfinished link of the address holding
// the most of them, but only when that address holds more than the newcomer's own would with the
// newcomer counted; otherwise the newcomer's address gives up its own oldest, or the newcomer is
// refused when it has none. So connections that never speak cannot keep a phone at another
// address out, and a handshake under way is never displaced by an address that holds no more.
class LinkAdmission {
public:
    static constexpr std::size_t kCapacity = 8;

    // What became of a newcomer: admitted or not, and the link whose place it took, if any. The
    // displaced link has already left the table; the caller ends it.
    struct Decision {
        bool admitted = false;
        QPointer<Link> displaced;
    };

    explicit LinkAdmission(std::size_t capacity = kCapacity) : m_capacity(capacity) {}

    // Decides on `link` by its peer address and enters it when admitted. `now` is monotonic
    // seconds, for the log: one line a second at most, counting what happened in between.
    Decision admit(Link* link, double now);
    // Forgets a link (closed or released); unknown links are ignored.
    void remove(const Link* link);
    // Empties the table and hands back what it held, oldest first.
    std::vector<QPointer<Link>> takeAll();

    std::size_t size() const { return m_entries.size(); }

private:
    struct Entry {
        QPointer<Link> link;
        QHostAddress address;
    };

    // Index of the entry that gives up its place to a newcomer from `address`, or -1 when the
    // newcomer is refused.
    std::ptrdiff_t victimFor(const QHostAddress& address) const;
    void log(const QHostAddress& newcomer, const Entry* displaced, double now);

    std::size_t m_capacity;
    std::vector<Entry> m_entries; // oldest first
    double m_lastLog = -1e9;
    std::int64_t m_displacedSinceLog = 0;
    std::int64_t m_refusedSinceLog = 0;
};

} // namespace quillvane
