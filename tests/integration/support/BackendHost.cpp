#include "BackendHost.h"

#include <cstdlib>
#include <map>

#include <linux/input-event-codes.h>

#include "InputBackends.h"
#include "Random.h"
#include "Uptime.h"
#include "integration/IntegrationTest.h"
#include "integration/support/WevRecorder.h"

namespace quillvane::testing_support {

BackendHost::BackendHost(InputBackend& backend)
    : m_input(backend, uptimeSeconds, [] { return TestHost::kDoubleClickInterval; }),
      m_test(m_input, "Backend Test Host"), m_host(&m_test.make()) {
    m_host->start();
}

BackendHost::~BackendHost() {
    if (m_controller)
        killController();
}

bool BackendHost::startController() {
    if (!m_host->isStarted()) {
        m_output = "the host did not start: " + m_host->issue().toUtf8();
        return false;
    }
    if (m_controller)
        killController();
    m_output.clear();
    m_controller = std::make_unique<QProcess>();
    QObject::connect(m_controller.get(), &QProcess::readyReadStandardOutput, m_controller.get(),
                     [this] { m_output += m_controller->readAllStandardOutput(); });
    m_controller->start(QStringLiteral(QUILLVANE_BIN_DIR "/quillvane-controller"),
                        {QStringLiteral("--host"), QStringLiteral("127.0.0.1"),
                         QStringLiteral("--port"), QString::number(m_host->port()),
                         m_host->pairingLink()});
    return m_controller->waitForStarted() &&
           waitUntil([&] { return m_output.contains("audio {\"kind\":\"welcome\""); }, 20000);
}

void BackendHost::send(const std::string& line) {
    m_controller->write(QByteArray::fromStdString(line + "\n"));
}

void BackendHost::killController() {
    m_controller->kill();
    m_controller->waitForFinished();
    m_controller.reset();
}

std::string backendChosenWithoutX() {
    const char* display = std::getenv("DISPLAY");
    const std::string saved = display ? display : "";
    unsetenv("DISPLAY");
    const std::string name(chooseInputBackend(compiledInputBackends(), "")->name());
    setenv("DISPLAY", saved.c_str(), 1);
    return name;
}

::testing::AssertionResult controllerDeathLetsGo(BackendHost& session,
                                                 const std::function<HeldInput()>& held) {
    WireMessage voice(WireMessage::Kind::voiceBegin);
    voice.session = randomUuid();
    struct Hold {
        std::string command;
        HeldInput holding;
    };
    // Beginning to speak ends a drag, so each is held by a controller of its own.
    for (const auto& [command, holding] :
         {Hold{"drag on", {1, 0}}, Hold{"raw control " + voice.toJson(), {0, 3}}}) {
        if (!session.startController())
            return ::testing::AssertionFailure() << session.controllerOutput();
        session.send(command);
        if (!waitUntil([&] { return held() == holding; }))
            return ::testing::AssertionFailure()
                   << "\"" << command << "\" never held " << holding.buttons << " buttons and "
                   << holding.keys << " keys; the controller printed:\n"
                   << session.controllerOutput();
        session.killController();
        if (!waitUntil([&] { return held() == HeldInput{}; }, 5000))
            return ::testing::AssertionFailure()
                   << "after \"" << command << "\" and the controller's death, still held: "
                   << held().buttons << " buttons, " << held().keys << " keys";
    }
    return ::testing::AssertionSuccess();
}

std::vector<WevEvent> expectTheControllerDrivesTheWindow(
    BackendHost& session, WevRecorder& wev, const std::function<void(TrackpadVector)>& userMoves,
    const std::string& text) {
    using Events = std::vector<WevEvent>;
    const auto moved = [](const Events& events) { return !named(events, "motion").empty(); };
    const auto motion = [&] {
        EXPECT_TRUE(wev.waitFor(moved)) << "no motion; wev saw:\n" << described(wev.events());
        const auto motions = named(wev.events(), "motion");
        wev.clear();
        return motions.empty() ? std::pair(-1.0, -1.0) : *motions.back().position();
    };
    if (!session.startController()) {
        ADD_FAILURE() << "no controller: " << session.controllerOutput();
        return {};
    }
    for (const TrackpadVector user : {TrackpadVector{40, 30}, TrackpadVector{-70, 20}}) {
        wev.clear();
        userMoves(user);
        const auto [x, y] = motion();
        session.send("move 30 10");
        const auto [movedX, movedY] = motion();
        EXPECT_NEAR(movedX - x, 30, 1) << "from " << x << "," << y;
        EXPECT_NEAR(movedY - y, 10, 1) << "from " << x << "," << y;
    }

    for (const std::string& line : std::vector<std::string>{"click", "scroll 8 12 began",
                                                            "scroll 0 0 ended", "key 6 1179648",
                                                            "text " + text, "key 0"})
        session.send(line);
    // The text that the key presses after the shortcut's six type.
    const auto typed = [](const Events& events) {
        std::string typed;
        const auto keys = named(events, "key");
        for (std::size_t i = 6; i < keys.size(); ++i)
            if (keys[i].number("state") == 1)
                typed += keys[i].utf8();
        return typed;
    };
    EXPECT_TRUE(wev.waitFor([&](const Events& events) { return typed(events) == text + "a"; }))
        << "wev saw:\n" << described(wev.events());
    const Events events = wev.events();
    // One left click.
    EXPECT_EQ(buttonStates(events), (std::vector{1, 0})) << described(events);
    for (const auto& button : named(events, "button"))
        EXPECT_EQ(button.number("button"), BTN_LEFT);
    // Down the page and to the right are positive on Wayland, where a Mac's positive pixels move
    // the view up and to the left.
    std::map<int, double> scrolled;
    for (const auto& axis : named(events, "axis"))
        scrolled[int(axis.number("axis").value_or(-1))] += axis.number("value").value_or(0);
    EXPECT_NEAR(scrolled[0], -12, 0.1) << described(events);
    EXPECT_NEAR(scrolled[1], -8, 0.1) << described(events);
    const auto changes = keyChanges(events);
    const auto shortcut = changes.begin() + std::min<std::size_t>(6, changes.size());
    EXPECT_EQ(std::vector(changes.begin(), shortcut),
              (std::vector<std::string>{"+29", "+42", "+44", "-44", "-42", "-29"}));
    const auto keys = named(events, "key");
    EXPECT_TRUE(keys.size() > 2 && keys[2].fields.find("sym: Z") != std::string::npos)
        << described(events);
    const auto modifiers = named(events, "modifiers");
    EXPECT_TRUE(!modifiers.empty() &&
                modifiers.back().fields.find("depressed: 00000000") != std::string::npos)
        << "a modifier is still held";
    return events;
}

::testing::AssertionResult stoppingTheBackendLetsGo(std::unique_ptr<InputBackend>& backend,
                                                    WevRecorder& wev) {
    wev.clear();
    backend->mouse({MouseEventType::leftDown, backend->pointerLocation().value_or(TrackpadVector{}), 1});
    backend->flush();
    if (!wev.waitFor([](const auto& events) { return buttonStates(events) == std::vector{1}; }))
        return ::testing::AssertionFailure() << "the button never went down; wev saw:\n"
                                             << described(wev.events());
    backend.reset();
    if (!wev.waitFor([](const auto& events) { return buttonStates(events) == std::vector{1, 0}; },
                     5000))
        return ::testing::AssertionFailure() << "the stopped backend left the button held; wev "
                                                "saw:\n"
                                             << described(wev.events());
    return ::testing::AssertionSuccess();
}

} // namespace quillvane::testing_support
