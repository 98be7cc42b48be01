// The advertisement as other programs see it: avahi-browse on the private avahi-daemon of
// scripts/test-env, and our own ServiceBrowser.

#include <algorithm>
#include <map>
#include <vector>

#include "IntegrationTest.h"

#include "Random.h"
#include "discovery/ServiceAdvertiser.h"
#include "discovery/ServiceBrowser.h"
#include "discovery/ServiceDiscovery.h"

namespace quillvane {
namespace {

using namespace testing_support;

using ServiceDiscoveryIntegration = IntegrationTest;

// One advertiser publishes an id, then a new one in its place, then withdraws: avahi-browse and
// our own ServiceBrowser see each step.
TEST_F(ServiceDiscoveryIntegration, theIdIsListedAsNameAndInTheTxtUntilReplacedOrWithdrawn) {
    std::map<QString, DiscoveredService> found;
    std::vector<QString> removed;
    ServiceBrowser browser;
    QObject::connect(&browser, &ServiceBrowser::serviceFound, &browser,
                     [&](const DiscoveredService& service) { found[service.name] = service; });
    QObject::connect(&browser, &ServiceBrowser::serviceRemoved, &browser,
                     [&](const QString& name) { removed.push_back(name); });
    browser.start();
    ServiceAdvertiser advertiser;
    std::vector<QString> registered;
    QString failure;
    QObject::connect(&advertiser, &ServiceAdvertiser::registered, &advertiser,
                     [&](const QString& name) { registered.push_back(name); });
    QObject::connect(&advertiser, &ServiceAdvertiser::failed, &advertiser,
                     [&](const QString& reason) { failure = reason; });
    // Publishes a fresh id and waits for the `registered` signal; the id's text.
    const auto publish = [&](quint16 port) {
        const Uuid id = randomUuid();
        const std::size_t before = registered.size();
        advertiser.publish(ServiceDiscovery::advertisement(id), port);
        EXPECT_TRUE(waitUntil([&] { return registered.size() > before; }))
            << "no registration; last failure: " << failure.toStdString();
        return QString::fromStdString(id.toString());
    };

    const QString id = publish(45678);
    EXPECT_EQ(registered.back(), id);
    const auto browsed = waitForBrowsed(id);
    ASSERT_TRUE(browsed);
    EXPECT_EQ(browsed->port, 45678);
    EXPECT_EQ(browsed->address, QStringLiteral("127.0.0.1"));
    // Exactly these two strings, in either order.
    EXPECT_EQ(browsed->txt.count(QLatin1Char('"')), 4) << browsed->txt.toStdString();
    EXPECT_TRUE(browsed->txt.contains(QStringLiteral("\"id=%1\"").arg(id)));
    EXPECT_TRUE(browsed->txt.contains(QStringLiteral("\"version=1\"")));

    ASSERT_TRUE(waitUntil([&] { return found.contains(id); }));
    const DiscoveredService& service = found.at(id);
    EXPECT_EQ(service.port, 45678);
    EXPECT_EQ(service.address, QHostAddress(QHostAddress::LocalHost));
    EXPECT_EQ(service.txt.toStrings(),
              (std::vector<std::string>{"id=" + id.toStdString(), "version=1"}));

    const QString newId = publish(40002);
    EXPECT_EQ(registered.back(), newId);
    EXPECT_TRUE(waitForBrowsed(newId));
    EXPECT_FALSE(waitForBrowsed(id, false)) << "the replaced id is still advertised";

    advertiser.withdraw();
    EXPECT_TRUE(waitUntil([&] { return std::ranges::count(removed, newId) == 1; }));
    EXPECT_FALSE(waitForBrowsed(newId, false)) << "a withdrawn service is still advertised";
}

} // namespace
} // namespace quillvane
