#include "discovery/ServiceBrowser.h"

#include <algorithm>
#include <utility>

#include <avahi-client/lookup.h>
#include <avahi-common/error.h>

#include "discovery/AvahiConnection.h"
#include "discovery/AvahiTxt.h"
#include "discovery/ServiceDiscovery.h"

namespace quillvane {

namespace {

QHostAddress hostAddress(const AvahiAddress& address, int interface) {
    char text[AVAHI_ADDRESS_STR_MAX];
    avahi_address_snprint(text, sizeof text, &address);
    QHostAddress result(QString::fromLatin1(text));
    // A link-local IPv6 address means nothing without the interface it was seen on.
    if (result.protocol() == QAbstractSocket::IPv6Protocol && result.isLinkLocal())
        result.setScopeId(QString::number(interface));
    return result;
}

} // namespace

ServiceBrowser::ServiceBrowser(QObject* parent) : QObject(parent) {}

ServiceBrowser::~ServiceBrowser() {
    stop();
}

void ServiceBrowser::start() {
    if (m_connection)
        return;
    m_connection = std::make_unique<AvahiConnection>(AvahiConnection::Handlers{
        .running = [this](AvahiClient* client) { startBrowsing(client); },
        .suspended = [] {},
        .clientGone = [this] { forgetAll(true); },
        .unavailable =
            [this](int error) { reportFailure(QString::fromUtf8(avahi_strerror(error))); },
    });
    m_connection->open();
}

void ServiceBrowser::stop() {
    if (!m_connection)
        return;
    forgetAll(false);
    m_connection.reset();
}

void ServiceBrowser::startBrowsing(AvahiClient* client) {
    if (m_browser)
        return;
    const std::string serviceType(ServiceDiscovery::serviceType);
    m_browser = avahi_service_browser_new(
        client, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, serviceType.c_str(), nullptr,
        AvahiLookupFlags(0),
        [](AvahiServiceBrowser* source, AvahiIfIndex interface, AvahiProtocol protocol,
           AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
           AvahiLookupResultFlags, void* self) {
            auto* browser = static_cast<ServiceBrowser*>(self);
            switch (event) {
            case AVAHI_BROWSER_NEW:
                browser->resolve(interface, protocol, name, type, domain);
                break;
            case AVAHI_BROWSER_REMOVE:
                browser->removed({interface, protocol, QString::fromUtf8(name)});
                break;
            case AVAHI_BROWSER_FAILURE:
                browser->reportFailure(QString::fromUtf8(
                    avahi_strerror(avahi_client_errno(avahi_service_browser_get_client(source)))));
                break;
            default:
                break;
            }
        },
        this);
    if (!m_browser) {
        reportFailure(QString::fromUtf8(avahi_strerror(avahi_client_errno(client))));
        return;
    }
    qCInfo(lcServiceDiscovery, "Browsing for %s", serviceType.c_str());
}

void ServiceBrowser::reportFailure(const QString& reason) {
    qCWarning(lcServiceDiscovery, "Browsing failed: %s", qUtf8Printable(reason));
    QMetaObject::invokeMethod(
        this, [this, reason] { Q_EMIT failed(reason); }, Qt::QueuedConnection);
}

void ServiceBrowser::resolve(int interface, int protocol, const char* name, const char* type,
                             const char* domain) {
    AvahiServiceResolver* resolver = avahi_service_resolver_new(
        avahi_service_browser_get_client(m_browser), interface, protocol, name, type, domain,
        AVAHI_PROTO_UNSPEC, AvahiLookupFlags(0),
        [](AvahiServiceResolver* resolver, AvahiIfIndex interface, AvahiProtocol protocol,
           AvahiResolverEvent event, const char* name, const char*, const char*,
           const char* hostName, const AvahiAddress* address, uint16_t port, AvahiStringList* txt,
           AvahiLookupResultFlags, void* self) {
            auto* browser = static_cast<ServiceBrowser*>(self);
            const Sighting sighting{interface, protocol, QString::fromUtf8(name)};
            if (event != AVAHI_RESOLVER_FOUND) {
                qCWarning(lcServiceDiscovery, "Could not resolve %s: %s", name,
                          avahi_strerror(
                              avahi_client_errno(avahi_service_resolver_get_client(resolver))));
                browser->resolved(resolver, sighting, nullptr);
                return;
            }
            const DiscoveredService service{QString::fromUtf8(name),
                                            fromAvahiStringList(txt),
                                            QString::fromUtf8(hostName),
                                            hostAddress(*address, interface),
                                            port,
                                            interface};
            browser->resolved(resolver, sighting, &service);
        },
        this);
    if (resolver)
        m_resolvers.insert(resolver);
    else
        qCWarning(lcServiceDiscovery, "Could not resolve %s: %s", name,
                  avahi_strerror(avahi_client_errno(avahi_service_browser_get_client(m_browser))));
}

void ServiceBrowser::resolved(AvahiServiceResolver* resolver, const Sighting& sighting,
                              const DiscoveredService* service) {
    m_resolvers.erase(resolver);
    avahi_service_resolver_free(resolver);
    if (!service)
        return;
    m_found.insert(sighting);
    QMetaObject::invokeMethod(
        this, [this, found = *service] { Q_EMIT serviceFound(found); }, Qt::QueuedConnection);
}

void ServiceBrowser::removed(const Sighting& sighting) {
    if (m_found.erase(sighting) == 0)
        return;
    const QString& name = std::get<2>(sighting);
    const bool stillSeen = std::ranges::any_of(
        m_found, [&](const Sighting& other) { return std::get<2>(other) == name; });
    if (!stillSeen)
        QMetaObject::invokeMethod(
            this, [this, name] { Q_EMIT serviceRemoved(name); }, Qt::QueuedConnection);
}

void ServiceBrowser::forgetAll(bool reportRemovals) {
    // The client owns the browser and the resolvers and frees them with itself.
    m_browser = nullptr;
    m_resolvers.clear();
    const std::set<Sighting> found = std::exchange(m_found, {});
    if (!reportRemovals)
        return;
    std::set<QString> names;
    for (const Sighting& sighting : found)
        names.insert(std::get<2>(sighting));
    for (const QString& name : names)
        QMetaObject::invokeMethod(
            this, [this, name] { Q_EMIT serviceRemoved(name); }, Qt::QueuedConnection);
}

} // namespace quillvane
