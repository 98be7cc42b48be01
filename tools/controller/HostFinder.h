#pragma once

#include <QObject>
#include <QTimer>

#include <functional>

#include "discovery/ServiceBrowser.h"
#include "pairing/HostPresence.h"
#include "protocol/Uuid.h"

namespace quillvane {

// Finds the host of one pairing on the local network, as the phone does: browses the service
// type, keeps the results whose pairing id matches, and reports the first one resolved. Results
// of an earlier pass are ignored through HostPresence's token.
class HostFinder : public QObject {
    Q_OBJECT
public:
    explicit HostFinder(Uuid profileID, QObject* parent = nullptr);

    // Starts a discovery pass; the time-out runs from the first call, so a retry does not extend it.
    void start(double timeoutSeconds);
    // Looks again after a found host could not be reached, ignoring what the last pass reported.
    void retry();
    // Looks for a host that was lost after it was found, with a fresh time-out.
    void resume(double timeoutSeconds);

    std::function<void(const QString& address, quint16 port)> onFound;
    std::function<void()> onTimeout;

private:
    void found(const DiscoveredService& service);

    Uuid m_profileID;
    ServiceBrowser m_browser;
    HostPresence m_presence;
    Uuid m_pass;
    QTimer m_timeout;
    bool m_done = false;
    bool m_timedOut = false;
};

} // namespace quillvane
