#pragma once

// Shared by the integration tests: they talk to the private services that scripts/test-env starts
// (avahi-daemon, the keyring, X, the sound server) and refuse to run anywhere else, where they
// would touch the machine's own services or pass for the wrong reason.

#include <cstdlib>

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

} // namespace quillvane::testing_support
