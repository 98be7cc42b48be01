// Decoding cost of the three payloads that dominate the link: a move with one sample (a slow
// finger), a move with 64 samples (the largest batch) and a 4,800-sample audio packet. Each is
// decoded from its frame into typed values by FrameDecoder, and from the same JSON by
// QJsonDocument and nlohmann::json, the parsers other programs of this kind use; the Base64 audio
// is decoded in all three. Prints one summary line per payload.

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"

using namespace quillvane;

namespace {

// What the host needs from a message, decoded the way the other parsers are commonly used.
struct Decoded {
    std::string kind;
    std::int64_t version = 0;
    std::vector<TrackpadVector> samples;
    std::string session;
    std::int64_t sequence = 0;
    QByteArray pcm;
};

WireMessage makeMove(int count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> delta(-12.0, 12.0);
    WireMessage message(WireMessage::Kind::move);
    message.movementSamples.emplace();
    for (int i = 0; i < count; ++i)
        message.movementSamples->push_back({delta(random), delta(random)});
    return message;
}

WireMessage makeAudio(int samples) {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> level(-0.5f, 0.5f);
    WireMessage message(WireMessage::Kind::audio);
    message.session = Uuid::fromRandomBytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    message.sequence = 42;
    message.pcm.emplace(static_cast<std::size_t>(samples) * 4);
    for (int i = 0; i < samples; ++i) {
        const float value = level(random);
        std::memcpy(message.pcm->data() + i * 4, &value, 4);
    }
    return message;
}

struct Payload {
    std::string name;
    Bytes frame;
};

const std::vector<Payload>& payloads() {
    static const std::vector<Payload> all = {
        {"move1", FrameCodec::encode(makeMove(1))},
        {"move64", FrameCodec::encode(makeMove(64))},
        {"audio4800", FrameCodec::encode(makeAudio(4800))},
    };
    return all;
}

void decodeWithFrameDecoder(benchmark::State& state, const Payload& payload) {
    FrameDecoder decoder;
    for (auto _ : state) {
        auto messages = decoder.append(payload.frame);
        benchmark::DoNotOptimize(messages.data());
        if (messages.size() != 1)
            state.SkipWithError("FrameDecoder did not deliver the message");
    }
}

void decodeWithQJsonDocument(benchmark::State& state, const Payload& payload) {
    const QByteArray json = QByteArray::fromRawData(
        reinterpret_cast<const char*>(payload.frame.data()) + 4,
        static_cast<qsizetype>(payload.frame.size() - 4));
    for (auto _ : state) {
        const QJsonObject object = QJsonDocument::fromJson(json).object();
        Decoded decoded;
        decoded.kind = object.value(QStringLiteral("kind")).toString().toStdString();
        decoded.version = object.value(QStringLiteral("version")).toInteger();
        for (const auto& sample : object.value(QStringLiteral("movementSamples")).toArray()) {
            const QJsonObject vector = sample.toObject();
            decoded.samples.push_back({vector.value(QStringLiteral("x")).toDouble(),
                                       vector.value(QStringLiteral("y")).toDouble()});
        }
        decoded.session = object.value(QStringLiteral("session")).toString().toStdString();
        decoded.sequence = object.value(QStringLiteral("sequence")).toInteger();
        decoded.pcm = QByteArray::fromBase64(object.value(QStringLiteral("pcm")).toString().toLatin1());
        benchmark::DoNotOptimize(decoded);
    }
}

void decodeWithNlohmann(benchmark::State& state, const Payload& payload) {
    const auto* begin = reinterpret_cast<const char*>(payload.frame.data()) + 4;
    const auto* end = reinterpret_cast<const char*>(payload.frame.data() + payload.frame.size());
    for (auto _ : state) {
        const nlohmann::json object = nlohmann::json::parse(begin, end);
        Decoded decoded;
        decoded.kind = object.at("kind").get<std::string>();
        decoded.version = object.at("version").get<std::int64_t>();
        if (const auto samples = object.find("movementSamples"); samples != object.end())
            for (const auto& sample : *samples)
                decoded.samples.push_back({sample.at("x").get<double>(), sample.at("y").get<double>()});
        if (const auto session = object.find("session"); session != object.end())
            decoded.session = session->get<std::string>();
        if (const auto sequence = object.find("sequence"); sequence != object.end())
            decoded.sequence = sequence->get<std::int64_t>();
        if (const auto pcm = object.find("pcm"); pcm != object.end()) {
            const auto& text = pcm->get_ref<const std::string&>();
            decoded.pcm = QByteArray::fromBase64(QByteArray::fromRawData(
                text.data(), static_cast<qsizetype>(text.size())));
        }
        benchmark::DoNotOptimize(decoded);
    }
}

// Collects the CPU time per iteration of every run (steadier than wall time on a shared machine) and prints the summary lines at the end, beside
// Google Benchmark's own table.
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    // Without colour codes, so the summary lines read cleanly in logs.
    SummaryReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& run : runs)
            if (!run.error_occurred)
                m_nanoseconds[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }

    void printSummary() const {
        for (const auto& payload : payloads()) {
            const double ours = time("FrameDecoder/" + payload.name);
            const double qt = time("QJsonDocument/" + payload.name);
            const double nlohmann = time("nlohmann/" + payload.name);
            std::printf("decode %s: FrameDecoder %.0f ns, QJsonDocument %.0f ns, nlohmann %.0f ns, "
                        "ratio %.3f\n",
                        payload.name.c_str(), ours, qt, nlohmann, ours / qt);
        }
    }

private:
    double time(const std::string& name) const {
        const auto found = m_nanoseconds.find(name);
        return found == m_nanoseconds.end() ? 0.0 : found->second;
    }

    std::map<std::string, double> m_nanoseconds;
};

} // namespace

int main(int argc, char** argv) {
    for (const auto& payload : payloads()) {
        benchmark::RegisterBenchmark(("FrameDecoder/" + payload.name).c_str(),
                                     decodeWithFrameDecoder, payload);
        benchmark::RegisterBenchmark(("QJsonDocument/" + payload.name).c_str(),
                                     decodeWithQJsonDocument, payload);
        benchmark::RegisterBenchmark(("nlohmann/" + payload.name).c_str(), decodeWithNlohmann,
                                     payload);
    }
    benchmark::Initialize(&argc, argv);
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printSummary();
    benchmark::Shutdown();
    return 0;
}
