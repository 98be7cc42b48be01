#pragma once

// Shared by the integration tests: they talk to the private services that scripts/test-env starts
// (avahi-daemon, the keyring, X, the sound server) and refuse to run anywhere else, where they
// would touch the machine's own services or pass for the wrong reason.

#include <cstdlib>
#include <optional>

#include <gtest/gtest.h>

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

#include "support/EventWait.h"

namespace quillvane::testing_support {

class IntegrationTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_STREQ(std::getenv("QUILLVANE_TEST_ENV"), "1")
            << "integration tests need the private services of scripts/test-env; run them as "
               "`scripts/test-env ctest --test-dir <build> -L integration`";
    }
};

struct ToolResult {
    int exitCode = -1;
    QString output;
    QString errors;
};

// Runs a command-line tool to completion (blocking the event loop meanwhile); one that does not
// start, crashes or runs out of time (and is killed then) gives exit code -1.
inline ToolResult runTool(const QString& program, const QStringList& arguments,
                          const QByteArray& input = {}, int timeoutMs = 20000) {
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs) || process.exitStatus() != QProcess::NormalExit)
        return {-1, {}, program + QStringLiteral(": ") + process.errorString()};
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// One of our services as `avahi-browse -p` lists it, resolved:
// =;iface;proto;name;type;domain;host;address;port;"txt" "txt"...
// Our names are UUID texts, which it prints unescaped.
struct BrowsedService {
    QString address;
    int port = 0;
    QString txt;
};

// Waits until avahi-browse lists `name` (or, with `present` false, no longer lists it); returns
// the last listing of it. A run that does not finish counts as not settled: -t waits for every
// resolution, which can stall while another test's service comes and goes.
inline std::optional<BrowsedService> waitForBrowsed(const QString& name, bool present = true) {
    std::optional<BrowsedService> found;
    const bool settled = waitUntil(
        [&] {
            const auto result =
                runTool(QStringLiteral("avahi-browse"),
                        {QStringLiteral("-rptk"), QStringLiteral("_quillvane._tcp")}, {}, 5000);
            if (result.exitCode != 0)
                return false;
            found.reset();
            for (const QString& line : result.output.split(QLatin1Char('\n'))) {
                const QStringList fields = line.split(QLatin1Char(';'));
                // Each resolution may carry either address of the host, in any order; the address
                // checked is the IPv4 one.
                if (fields.size() >= 10 && fields[0] == QLatin1String("=") && fields[3] == name &&
                    !fields[7].contains(QLatin1Char(':')))
                    found = BrowsedService{fields[7], fields[8].toInt(),
                                           fields.mid(9).join(QLatin1Char(';'))};
            }
            return found.has_value() == present;
        },
        30000);
    // Unsettled, an absence would pass unseen.
    if (!settled)
        ADD_FAILURE() << "avahi-browse never settled on " << name.toStdString()
                      << (present ? " listed" : " gone");
    return found;
}

} // namespace quillvane::testing_support
