#include "WevRecorder.h"

#include <cstdlib>
#include <map>
#include <regex>

#include <QProcessEnvironment>

#include "integration/IntegrationTest.h"

namespace quillvane::testing_support {

std::optional<double> WevEvent::number(const std::string& label) const {
    const std::regex pattern("(^|[ ;,])" + label + ": (-?[0-9.]+)");
    std::smatch match;
    if (!std::regex_search(fields, match, pattern))
        return std::nullopt;
    return std::strtod(match[2].str().c_str(), nullptr);
}

std::optional<std::pair<double, double>> WevEvent::position() const {
    static const std::regex pattern(R"(x, y: (-?[0-9.]+), (-?[0-9.]+))");
    std::smatch match;
    if (!std::regex_search(fields, match, pattern))
        return std::nullopt;
    return std::pair{std::strtod(match[1].str().c_str(), nullptr),
                     std::strtod(match[2].str().c_str(), nullptr)};
}

std::string WevEvent::utf8() const {
    const auto start = fields.find("utf8: '");
    if (start == std::string::npos)
        return {};
    const auto end = fields.rfind('\'');
    return end > start + 7 ? fields.substr(start + 7, end - start - 7) : std::string{};
}

WevRecorder::WevRecorder(const std::string& waylandSocket) : m_process(std::make_unique<QProcess>()) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), QString::fromStdString(waylandSocket));
    m_process->setProcessEnvironment(environment);
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    QObject::connect(m_process.get(), &QProcess::readyReadStandardOutput, m_process.get(),
                     [this] { readOutput(); });
    // wev writes through stdio, which holds a pipe's output back in blocks.
    m_process->start(QStringLiteral("stdbuf"), {QStringLiteral("-oL"), QStringLiteral("wev")});
    m_process->waitForStarted();
}

WevRecorder::~WevRecorder() {
    m_process->disconnect();
    m_process->kill();
    m_process->waitForFinished();
}

void WevRecorder::readOutput() {
    m_partial += m_process->readAllStandardOutput().toStdString();
    static const std::regex head(R"(^\[(\d+): *([a-z_0-9]+)\] ([a-z_]+):? ?(.*)$)");
    std::size_t newline = 0;
    while ((newline = m_partial.find('\n')) != std::string::npos) {
        const std::string line = m_partial.substr(0, newline);
        m_partial.erase(0, newline + 1);
        std::smatch match;
        if (std::regex_match(line, match, head))
            m_all.push_back({std::stoll(match[1]), match[2], match[3], match[4]});
        else if (const auto text = line.find_first_not_of(' ');
                 !m_all.empty() && text != 0 && text != std::string::npos)
            m_all.back().fields += " " + line.substr(text);
    }
}

std::vector<WevEvent> WevRecorder::events() {
    // The object of each interface that received the latest enter speaks for it.
    std::map<std::string, long long> current;
    std::vector<WevEvent> kept;
    for (std::size_t i = 0; i < m_all.size(); ++i) {
        const WevEvent& event = m_all[i];
        if (event.name == "enter")
            current[event.interface] = event.object;
        const auto speaker = current.find(event.interface);
        if (i >= m_clearedUpTo && (speaker == current.end() || speaker->second == event.object))
            kept.push_back(event);
    }
    return kept;
}

void WevRecorder::clear() {
    m_clearedUpTo = m_all.size();
}

bool WevRecorder::waitFor(const std::function<bool(const std::vector<WevEvent>&)>& condition,
                          int timeoutMs) {
    return waitUntil([&] { return condition(events()); }, timeoutMs);
}

bool WevRecorder::hasEvent(const std::vector<WevEvent>& events, const std::string& interface,
                           const std::string& name) {
    for (const auto& event : events)
        if (event.interface == interface && event.name == name)
            return true;
    return false;
}

std::vector<WevEvent> named(const std::vector<WevEvent>& events, const std::string& name) {
    std::vector<WevEvent> found;
    for (const auto& event : events)
        if (event.name == name)
            found.push_back(event);
    return found;
}

std::vector<std::string> keyChanges(const std::vector<WevEvent>& events) {
    std::vector<std::string> changes;
    for (const auto& event : named(events, "key"))
        changes.push_back((event.number("state") == 1 ? "+" : "-") +
                          std::to_string(int(event.number("key").value_or(8)) - 8));
    return changes;
}

std::vector<int> buttonStates(const std::vector<WevEvent>& events) {
    std::vector<int> states;
    for (const auto& event : named(events, "button"))
        states.push_back(int(event.number("state").value_or(-1)));
    return states;
}

HeldInput heldAfter(const std::vector<WevEvent>& events) {
    std::map<std::pair<std::string, double>, bool> down;
    for (const auto& event : events)
        if (event.name == "button" || event.name == "key")
            down[{event.name, event.number(event.name).value_or(-1)}] = event.number("state") == 1;
    HeldInput held;
    for (const auto& [what, pressed] : down)
        if (pressed)
            ++(what.first == "button" ? held.buttons : held.keys);
    return held;
}

std::string described(const std::vector<WevEvent>& events) {
    std::string text;
    for (const auto& event : events)
        text += event.interface + " " + event.name + ": " + event.fields + "\n";
    return text;
}

} // namespace quillvane::testing_support
