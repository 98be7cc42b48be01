#include "HostFinder.h"

#include "Random.h"
#include "discovery/ServiceDiscovery.h"

namespace quillvane {

HostFinder::HostFinder(Uuid profileID, QObject* parent)
    : QObject(parent), m_profileID(profileID) {
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, [this] {
        m_timedOut = true;
        m_browser.stop();
        m_presence.stop();
        if (!m_done && onTimeout)
            onTimeout();
    });
    connect(&m_browser, &ServiceBrowser::serviceFound, this, &HostFinder::found);
}

void HostFinder::start(double timeoutSeconds) {
    m_pass = m_presence.begin(randomUuid());
    m_browser.start();
    if (!m_timeout.isActive())
        m_timeout.start(static_cast<int>(timeoutSeconds * 1000));
}

void HostFinder::retry() {
    if (m_timedOut) {
        if (onTimeout)
            onTimeout();
        return;
    }
    m_done = false;
    m_browser.stop();
    // A short pause lets the daemon drop records its owner withdrew.
    QTimer::singleShot(500, this, [this] {
        if (m_timedOut)
            return;
        m_pass = m_presence.begin(randomUuid());
        m_browser.start();
    });
}

void HostFinder::resume(double timeoutSeconds) {
    m_timeout.stop();
    m_timedOut = false;
    m_done = false;
    m_browser.stop();
    start(timeoutSeconds);
}

void HostFinder::found(const DiscoveredService& service) {
    if (m_done || !m_presence.accepts(m_pass))
        return;
    const std::string name = service.name.toStdString();
    if (!ServiceDiscovery::matches(name, &service.txt, m_profileID))
        return;
    m_presence.update({m_profileID}, m_pass);
    m_done = true;
    m_browser.stop();
    if (onFound)
        onFound(service.address.toString(), service.port);
}

} // namespace quillvane
