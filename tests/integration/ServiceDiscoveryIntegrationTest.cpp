// The advertisement as other programs see it: avahi-browse on the private avahi-daemon of
// scripts/test-env, and our own ServiceBrowser.

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "IntegrationTest.h"

#include <QProcessEnvironment>

#include "Random.h"
#include "discovery/ServiceAdvertiser.h"
#include "discovery/ServiceBrowser.h"
#include "discovery/ServiceDiscovery.h"

namespace quillvane {
namespace {

using testing_support::IntegrationTest;
using testing_support::runTool;
using testing_support::waitUntil;

const QString kType = QStringLiteral("_quillvane._tcp");

struct BrowsedService {
    QString name;
    QString address;
    int port = 0;
    std::vector<std::string> txt; // in avahi-browse's order
};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// avahi-browse -p escapes labels as \DDD (decimal byte) and \X.
QString unescapeLabel(const QString& label) {
    QByteArray bytes;
    const QByteArray raw = label.toUtf8();
    for (qsizetype i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\\' && i + 3 < raw.size() && isDigit(raw[i + 1]) && isDigit(raw[i + 2]) &&
            isDigit(raw[i + 3])) {
            bytes += static_cast<char>(raw.mid(i + 1, 3).toInt());
            i += 3;
        } else if (raw[i] == '\\' && i + 1 < raw.size()) {
            bytes += raw[++i];
        } else {
            bytes += raw[i];
        }
    }
    return QString::fromUtf8(bytes);
}

// The TXT field: "a=1" "b=2" with \" and \\ escaped inside the quotes.
std::vector<std::string> parseTxt(const QString& field) {
    std::vector<std::string> strings;
    const QByteArray raw = field.toUtf8();
    std::optional<std::string> current;
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const char c = raw[i];
        if (!current) {
            if (c == '"')
                current.emplace();
        } else if (c == '\\' && i + 1 < raw.size()) {
            *current += raw[++i];
        } else if (c == '"') {
            strings.push_back(*current);
            current.reset();
        } else {
            *current += c;
        }
    }
    return strings;
}

// One avahi-browse run, or nothing when it does not finish: -t waits for every resolution, which
// can stall while another test's service comes and goes.
std::optional<std::vector<BrowsedService>> browse() {
    const auto result =
        runTool(QStringLiteral("avahi-browse"), {QStringLiteral("-rptk"), kType}, {}, 5000);
    if (result.exitCode != 0)
        return std::nullopt;
    std::vector<BrowsedService> services;
    for (const QString& line : result.output.split(QLatin1Char('\n'))) {
        if (!line.startsWith(QLatin1String("=;")))
            continue;
        // =;iface;proto;name;type;domain;host;address;port;txt
        const QStringList fields = line.split(QLatin1Char(';'));
        if (fields.size() < 10)
            continue;
        services.push_back({unescapeLabel(fields[3]), fields[7], fields[8].toInt(),
                            parseTxt(fields.mid(9).join(QLatin1Char(';')))});
    }
    return services;
}

// Waits until avahi-browse lists `name` (or, with `present` false, no longer lists it); returns
// the last listing of it. Avahi answers a local query from its own records, so this settles
// within a few tries.
std::optional<BrowsedService> waitForBrowsed(const QString& name, bool present = true) {
    std::optional<BrowsedService> found;
    waitUntil(
        [&] {
            const auto services = browse();
            if (!services)
                return false;
            found.reset();
            for (const BrowsedService& service : *services)
                if (service.name == name)
                    found = service;
            return found.has_value() == present;
        },
        30000);
    return found;
}

std::vector<std::string> sorted(std::vector<std::string> strings) {
    std::ranges::sort(strings);
    return strings;
}

QString idText(const Uuid& id) {
    return QString::fromStdString(id.toString());
}

class ServiceDiscoveryIntegration : public IntegrationTest {
protected:
    // Publishes and waits for the `registered` signal; returns the name it reported.
    QString publish(const Uuid& id, quint16 port) {
        const int before = m_registrations;
        m_advertiser.publish(ServiceDiscovery::advertisement(id), port);
        EXPECT_TRUE(waitUntil([&] { return m_registrations > before; }))
            << "no registration; last failure: " << m_failure.toStdString();
        return m_lastRegistered;
    }

    void SetUp() override {
        IntegrationTest::SetUp();
        QObject::connect(&m_advertiser, &ServiceAdvertiser::registered, &m_advertiser,
                         [this](const QString& name) {
                             ++m_registrations;
                             m_lastRegistered = name;
                         });
        QObject::connect(&m_advertiser, &ServiceAdvertiser::failed, &m_advertiser,
                         [this](const QString& reason) { m_failure = reason; });
    }

    ServiceAdvertiser m_advertiser;
    int m_registrations = 0;
    QString m_lastRegistered;
    QString m_failure;
};

TEST_F(ServiceDiscoveryIntegration, avahiBrowseListsTheNameIdAndVersion) {
    const Uuid id = randomUuid();
    EXPECT_EQ(publish(id, 45678), idText(id));
    const auto found = waitForBrowsed(idText(id));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->port, 45678);
    EXPECT_EQ(found->address, QStringLiteral("127.0.0.1"));
    EXPECT_EQ(sorted(found->txt), sorted({"id=" + id.toString(), "version=1"}));
}

TEST_F(ServiceDiscoveryIntegration, publishingANewIdReplacesTheOldName) {
    const Uuid oldId = randomUuid();
    const Uuid newId = randomUuid();
    publish(oldId, 40001);
    ASSERT_TRUE(waitForBrowsed(idText(oldId)));
    EXPECT_EQ(publish(newId, 40002), idText(newId));
    EXPECT_TRUE(waitForBrowsed(idText(newId)));
    EXPECT_FALSE(waitForBrowsed(idText(oldId), false)) << "the revoked id is still advertised";
}

TEST_F(ServiceDiscoveryIntegration, withdrawRemovesTheService) {
    const Uuid id = randomUuid();
    publish(id, 40003);
    ASSERT_TRUE(waitForBrowsed(idText(id)));
    m_advertiser.withdraw();
    EXPECT_EQ(m_advertiser.state(), ServiceAdvertiser::State::Withdrawn);
    EXPECT_FALSE(waitForBrowsed(idText(id), false));
}

TEST_F(ServiceDiscoveryIntegration, comesBackAfterTheDaemonRestarts) {
    const Uuid id = randomUuid();
    publish(id, 40004);
    ASSERT_TRUE(waitForBrowsed(idText(id)));

    const QString restart =
        QProcessEnvironment::systemEnvironment().value(QStringLiteral("QUILLVANE_TEST_ENV_DIR")) +
        QStringLiteral("/restart-avahi");
    const auto restarted = runTool(restart, {});
    ASSERT_EQ(restarted.exitCode, 0) << restarted.errors.toStdString();

    // The new daemon knows nothing of the old registration: finding it proves we registered again.
    EXPECT_TRUE(waitUntil([&] { return m_registrations == 2; }, 15000))
        << "state " << int(m_advertiser.state()) << ", failure " << m_failure.toStdString();
    const auto found = waitForBrowsed(idText(id));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->port, 40004);
}

TEST_F(ServiceDiscoveryIntegration, aNameCollisionRenamesButTheTxtIdStillIdentifies) {
    const Uuid id = randomUuid();
    // Someone else holds our name (with another id in its record).
    QProcess squatter;
    squatter.start(QStringLiteral("avahi-publish"),
                   {QStringLiteral("-s"), idText(id), kType, QStringLiteral("9"),
                    QStringLiteral("id=") + idText(randomUuid())});
    ASSERT_TRUE(squatter.waitForStarted());
    ASSERT_TRUE(waitForBrowsed(idText(id)));

    const QString name = publish(id, 40005);
    EXPECT_NE(name, idText(id));
    EXPECT_TRUE(name.startsWith(idText(id))) << name.toStdString();
    const auto ours = waitForBrowsed(name);
    ASSERT_TRUE(ours);
    EXPECT_EQ(ours->port, 40005);
    const TxtRecord record = TxtRecord::fromStrings(ours->txt);
    EXPECT_EQ(ServiceDiscovery::profileID(name.toStdString(), &record), id);

    squatter.terminate();
    squatter.waitForFinished();
}

TEST_F(ServiceDiscoveryIntegration, serviceBrowserFindsWhatTheAdvertiserPublishes) {
    std::map<QString, DiscoveredService> found;
    std::vector<QString> removed;
    ServiceBrowser browser;
    QObject::connect(&browser, &ServiceBrowser::serviceFound, &browser,
                     [&](const DiscoveredService& service) { found[service.name] = service; });
    QObject::connect(&browser, &ServiceBrowser::serviceRemoved, &browser,
                     [&](const QString& name) { removed.push_back(name); });
    browser.start();

    const Uuid id = randomUuid();
    const ServiceAdvertisement advertisement = ServiceDiscovery::advertisement(id);
    publish(id, 40006);
    ASSERT_TRUE(waitUntil([&] { return found.contains(idText(id)); }));
    const DiscoveredService& service = found.at(idText(id));
    EXPECT_EQ(service.txt.toStrings(), advertisement.txt.toStrings());
    EXPECT_EQ(service.port, 40006);
    EXPECT_EQ(service.address, QHostAddress(QHostAddress::LocalHost));
    EXPECT_FALSE(service.hostName.isEmpty());
    EXPECT_TRUE(ServiceDiscovery::matches(service.name.toStdString(), &service.txt, id));

    m_advertiser.withdraw();
    EXPECT_TRUE(waitUntil([&] { return std::ranges::count(removed, idText(id)) == 1; }));
}

} // namespace
} // namespace quillvane
