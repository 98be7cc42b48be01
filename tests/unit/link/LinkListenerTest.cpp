#include <gtest/gtest.h>

#include <QHostAddress>
#include <QNetworkInterface>
#include <QTcpSocket>

#include "LinkTestSupport.h"

using namespace quillvane;
using namespace quillvane::test;

TEST(LinkListener, takesEveryAddressAndClosesWhatItRefuses) {
    LinkListener listener(SecureLink::parameters(pairingId(), pairingKey()));
    int accepted = 0;
    listener.onConnection = [&](qintptr descriptor) {
        ++accepted;
        LinkListener::refuse(descriptor);
    };
    ASSERT_TRUE(listener.listen()) << listener.errorString().toStdString();
    // The IPv4 path is taken by every other link test.
    if (!QNetworkInterface::allAddresses().contains(QHostAddress(QHostAddress::LocalHostIPv6)))
        GTEST_SKIP() << "no IPv6 loopback here";
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHostIPv6, listener.serverPort());
    EXPECT_TRUE(testing_support::waitUntil(
        [&] { return accepted == 1 && client.state() == QAbstractSocket::UnconnectedState; },
        kGenerousMs));
}
