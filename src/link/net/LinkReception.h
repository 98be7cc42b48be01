#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>

#include <QObject>
#include <QPointer>
#include <QString>

#include "net/LinkAdmission.h"

namespace quillvane {

class Clock;

// Every link the host accepts, over any transport, from its arrival until it closes: the table of
// places (LinkAdmission), the connections parked outside it, and the deadline by which a link must
// have bound. Admitted links are started with their messages and their close handed to the
// session; the reception owns them all and releases each once closed.
class LinkReception : public QObject {
    Q_OBJECT

public:
    // A link that has not bound by then is closed: a phone binds within a second or two.
    static constexpr double kBindDeadline = 10.0;
    // Parked connections beyond this many close, oldest first.
    static constexpr std::size_t kMaximumParked = 64;

    explicit LinkReception(Clock& clock, QObject* parent = nullptr);
    ~LinkReception() override;

    // What the session is told of admitted links, and asks of them. Set before the first link.
    std::function<void(Link& link, const WireMessage& message)> onMessage;
    // After the link has left the table; the link is released afterwards.
    std::function<void(Link& link, const std::optional<QString>& reason)> onClose;
    // Whether the session has bound the link: a bound link is no longer held to the deadline.
    std::function<bool(const Link& link)> isBound;

    // Takes a new, not yet started link and either admits it or parks it; starts it either way.
    void receive(Link* link);
    // Closes every link, admitted or parked (their close handlers run), and forgets them.
    void closeAll();

    std::size_t size() const { return m_table.size(); }

private:
    // Keeps a started link that has no place and has sent nothing open outside the table.
    void park(Link* link);
    void closed(Link* link, const std::optional<QString>& reason);

    Clock& m_clock;
    LinkAdmission m_table;
    // Connections that got no place, or lost theirs, before sending a byte (see park()).
    std::deque<QPointer<Link>> m_parked;
};

} // namespace quillvane
