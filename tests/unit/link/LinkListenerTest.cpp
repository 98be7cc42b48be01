#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include <QHostAddress>
#include <QNetworkInterface>
#include <QTcpSocket>

#include "LinkTestSupport.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

struct Listening {
    Listening() : listener(SecureLink::parameters(pairingId(), pairingKey())) {
        listener.onConnection = [this](qintptr descriptor) { descriptors.push_back(descriptor); };
        EXPECT_TRUE(listener.listen()) << listener.errorString().toStdString();
    }
    ~Listening() {
        for (const qintptr descriptor : descriptors)
            LinkListener::refuse(descriptor);
    }

    LinkListener listener;
    std::vector<qintptr> descriptors;
};

std::unique_ptr<QTcpSocket> connectTo(const QHostAddress& address, quint16 port) {
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(address, port);
    return socket;
}

bool waitUntilDisconnected(QTcpSocket& socket) {
    return QTest::qWaitFor([&] { return socket.state() == QAbstractSocket::UnconnectedState; },
                           kGenerousMs);
}

} // namespace

TEST(LinkListener, listensOnASystemPortForIpv4AndIpv6) {
    Listening listening;
    ASSERT_NE(listening.listener.serverPort(), 0);
    EXPECT_EQ(listening.listener.serverAddress(), QHostAddress(QHostAddress::Any));

    auto v4 = connectTo(QHostAddress::LocalHost, listening.listener.serverPort());
    ASSERT_TRUE(QTest::qWaitFor([&] { return listening.descriptors.size() == 1; }, kGenerousMs));

    if (!QNetworkInterface::allAddresses().contains(QHostAddress(QHostAddress::LocalHostIPv6)))
        GTEST_SKIP() << "no IPv6 loopback here; IPv4 was checked";
    auto v6 = connectTo(QHostAddress::LocalHostIPv6, listening.listener.serverPort());
    EXPECT_TRUE(QTest::qWaitFor([&] { return listening.descriptors.size() == 2; }, kGenerousMs));
}

TEST(LinkListener, refusedConnectionsAreClosed) {
    Listening listening;
    listening.listener.onConnection = [](qintptr descriptor) { LinkListener::refuse(descriptor); };
    auto refused = connectTo(QHostAddress::LocalHost, listening.listener.serverPort());
    EXPECT_TRUE(waitUntilDisconnected(*refused));

    listening.listener.onConnection = nullptr;
    auto unhandled = connectTo(QHostAddress::LocalHost, listening.listener.serverPort());
    EXPECT_TRUE(waitUntilDisconnected(*unhandled));
}

TEST(LinkListener, wrapsEachConnectionInANewUnstartedLink) {
    Listening listening;
    auto first = connectTo(QHostAddress::LocalHost, listening.listener.serverPort());
    ASSERT_TRUE(QTest::qWaitFor([&] { return listening.descriptors.size() == 1; }, kGenerousMs));
    auto second = connectTo(QHostAddress::LocalHost, listening.listener.serverPort());
    ASSERT_TRUE(QTest::qWaitFor([&] { return listening.descriptors.size() == 2; }, kGenerousMs));

    QObject owner;
    SecureLink* a = listening.listener.wrap(listening.descriptors[0], &owner);
    SecureLink* b = listening.listener.wrap(listening.descriptors[1], &owner);
    listening.descriptors.clear();
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(a->parent(), &owner);
    EXPECT_NE(a->id(), b->id());
    EXPECT_FALSE(a->isReady() || a->isClosed());

    // Destroying an unstarted link ends its connection without reporting anything.
    bool reported = false;
    a->onClose = [&](const std::optional<QString>&) { reported = true; };
    delete a;
    EXPECT_TRUE(waitUntilDisconnected(*first));
    EXPECT_FALSE(reported);
    EXPECT_EQ(second->state(), QAbstractSocket::ConnectedState);
}
