// Drives VoiceSession with arbitrary voice traffic (begin, audio with exact, nearby and wild
// sequence numbers and sizes, voiceEnd, playback notices in and out of order, time passing,
// cancel) and checks after every step that the backlog bookkeeping holds and that a refused call
// leaves the session untouched. Which call is refused for what is VoiceSessionTest's.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "FuzzInput.h"
#include "voice/VoiceSession.h"

using namespace quillvane;

namespace {

const Uuid ids[2] = {Uuid::fromRandomBytes({1}), Uuid::fromRandomBytes({2})};

// Mostly the expected number, sometimes a near miss either way.
std::int64_t nearby(std::int64_t expected, std::uint8_t choice) {
    return choice < 192 ? expected : expected + static_cast<std::int8_t>(choice - 224);
}

// Runs one call; one that throws must leave the session as it was.
template <typename Call> void attempt(VoiceSession& session, Call call) {
    const VoiceSession before = session;
    try {
        call();
    } catch (const std::exception&) {
        check(session == before);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in{data, size};
    VoiceSession session;
    double now = 100.0;
    // Packets handed to playback, in order; those of abandoned utterances come back as late notices.
    std::deque<std::pair<Uuid, std::int64_t>> scheduled;
    const auto receive = [&](const Uuid& id, std::int64_t sequence, std::int64_t samples) {
        attempt(session, [&] {
            session.receive(id, sequence, samples, now);
            scheduled.emplace_back(id, sequence);
        });
    };
    while (!in.empty()) {
        const std::uint8_t op = in.byte();
        const Uuid current = session.id().value_or(ids[0]);
        switch (op % 10) {
        case 0:
            attempt(session, [&] { session.begin(ids[in.byte() & 1], now); });
            break;
        case 1:
            receive(current, nearby(session.nextSequence(), in.byte()),
                    static_cast<std::int64_t>(in.number(2) % 4810) - 5);
            break;
        case 2:
            receive(current, static_cast<std::int64_t>(in.number(8)), static_cast<std::int64_t>(in.number(8)));
            break;
        case 3:
            receive(ids[in.byte() & 1], session.nextSequence(), 480);
            break;
        case 4:
            attempt(session, [&] { session.end(current, nearby(session.nextSequence() - 1, in.byte()), now); });
            break;
        case 5:
            // The oldest scheduled buffer finished playing; completion returns the host to idle.
            if (!scheduled.empty() && session.played(scheduled.front().first, scheduled.front().second))
                session.cancel(std::nullopt);
            if (!scheduled.empty())
                scheduled.pop_front();
            break;
        case 6:
            // Out-of-order, repeated or invented notices.
            session.played(ids[in.byte() & 1], std::int64_t{in.byte()} - 16);
            break;
        case 7:
            now += in.number(2) / 1000.0;
            break;
        case 8:
            now += VoiceSession::staleAfter;
            break;
        case 9:
            session.cancel(in.byte() & 1 ? std::optional<std::string>("音频超时") : std::nullopt);
            check(session == VoiceSession());
            break;
        }
        std::int64_t sum = 0;
        for (const auto& [sequence, samples] : session.pending()) {
            check(sequence >= 0 && sequence < session.nextSequence());
            check(samples >= 1 && samples <= VoiceSession::maximumPacketSamples);
            sum += samples;
        }
        check(session.pendingSamples() == sum && sum <= VoiceSession::maximumPendingSamples);
        check(session.id() || session == VoiceSession());
    }
    return 0;
}
