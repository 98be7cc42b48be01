// Drives VoiceSession with arbitrary sequences of voice traffic (begin, audio with exact, nearby
// and wild sequence numbers and sizes, voiceEnd, playback notices in and out of order, time
// passing, cancel) and checks after every step that the backlog bookkeeping holds, that a refused
// call leaves the session untouched and an accepted one advances it. Which call is refused for
// what, in which order, is VoiceSessionTest's.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <string>

#include "FuzzInput.h"
#include "protocol/PadError.h"
#include "voice/VoiceReceiveFailure.h"
#include "voice/VoiceSession.h"

using namespace quillvane;

namespace {

const Uuid ids[2] = {Uuid::fromRandomBytes({1}), Uuid::fromRandomBytes({2})};

// Mostly the expected number, sometimes a near miss either way.
std::int64_t nearby(std::int64_t expected, std::uint8_t choice) {
    return choice < 192 ? expected : expected + static_cast<std::int8_t>(choice - 224);
}

struct Harness {
    VoiceSession session;
    double now = 100.0;
    // Packets handed to playback, in scheduling order, with the utterance they belong to. Entries
    // of abandoned utterances stay and come back as late notices.
    std::deque<std::pair<Uuid, std::int64_t>> scheduled;

    void begin(const Uuid& id) {
        const VoiceSession before = session;
        try {
            session.begin(id, now);
        } catch (const PadError&) {
            check(before.id().has_value() && session == before);
            return;
        }
        check(!before.id() && session.id() == id && !session.isEnding());
        check(session.nextSequence() == 0 && session.pending().empty() &&
              session.lastActivity() == now);
    }

    void receive(const Uuid& id, std::int64_t sequence, std::int64_t samples) {
        const VoiceSession before = session;
        try {
            session.receive(id, sequence, samples, now);
        } catch (const VoiceReceiveFailure&) {
            check(session == before);
            return;
        }
        check(before.id() == id && sequence == before.nextSequence());
        check(session.nextSequence() == sequence + 1 && session.lastActivity() == now);
        check(session.pending().at(sequence) == samples);
        check(session.pendingSamples() == before.pendingSamples() + samples);
        scheduled.emplace_back(id, sequence);
    }

    void end(const Uuid& id, std::int64_t lastSequence) {
        const VoiceSession before = session;
        const bool admissible =
            before.id() == id && !before.isEnding() && lastSequence == before.nextSequence() - 1;
        bool complete = false;
        try {
            complete = session.end(id, lastSequence, now);
        } catch (const PadError&) {
            check(!admissible && session == before);
            return;
        }
        check(admissible && complete == before.pending().empty());
        check(session.isEnding() && session.endingAt() == now);
    }

    void played(const Uuid& id, std::int64_t sequence) {
        const VoiceSession before = session;
        const bool known = before.id() == id && before.pending().contains(sequence);
        const bool last = session.played(id, sequence);
        if (!known) {
            check(!last && session == before);
            return;
        }
        check(last == (before.isEnding() && before.pending().size() == 1));
        check(!session.pending().contains(sequence));
        check(session.pendingSamples() == before.pendingSamples() - before.pending().at(sequence));
        check(session.playedSequence() == std::max(before.playedSequence(), sequence));
        // Completion is reported once; the host then returns the session to idle.
        if (last)
            session.cancel(std::nullopt);
    }

    void cancel(bool withReason) {
        const auto reason =
            withReason ? std::optional<std::string>("音频超时，已释放语音快捷键") : std::nullopt;
        const bool told = session.cancel(reason).has_value();
        check(session == VoiceSession() && (!told || withReason));
    }

    void checkInvariants() const {
        std::int64_t sum = 0;
        for (const auto& [sequence, samples] : session.pending()) {
            check(sequence >= 0 && sequence < session.nextSequence());
            check(samples >= 1 && samples <= VoiceSession::maximumPacketSamples);
            sum += samples;
        }
        check(session.pendingSamples() == sum && sum <= VoiceSession::maximumPendingSamples);
        check(session.playedSequence() < session.nextSequence());
        check(session.endingAt().has_value() == session.isEnding());
        check(session.id() || session == VoiceSession());

        const double reference = session.endingAt().value_or(session.lastActivity());
        check(session.expired(now) == (session.id() && now - reference > VoiceSession::staleAfter));
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in{data, size};
    Harness h;
    while (!in.empty()) {
        const std::uint8_t op = in.byte();
        const Uuid current = h.session.id().value_or(ids[0]);
        switch (op % 10) {
        case 0:
            h.begin(ids[in.byte() & 1]);
            break;
        case 1: {
            // Plausible audio: the expected number or close to it, sizes around the valid range.
            const std::int64_t sequence = nearby(h.session.nextSequence(), in.byte());
            h.receive(current, sequence, static_cast<std::int64_t>(in.number(2) % 4810) - 5);
            break;
        }
        case 2: {
            const std::int64_t sequence = static_cast<std::int64_t>(in.number(8));
            h.receive(current, sequence, static_cast<std::int64_t>(in.number(8)));
            break;
        }
        case 3:
            h.receive(ids[in.byte() & 1], h.session.nextSequence(), 480);
            break;
        case 4:
            h.end(current, nearby(h.session.nextSequence() - 1, in.byte()));
            break;
        case 5:
            // The oldest scheduled buffer finished playing.
            if (!h.scheduled.empty()) {
                const auto [id, sequence] = h.scheduled.front();
                h.scheduled.pop_front();
                h.played(id, sequence);
            }
            break;
        case 6:
            // Out-of-order, repeated or invented notices.
            h.played(ids[in.byte() & 1], std::int64_t{in.byte()} - 16);
            break;
        case 7:
            h.now += in.number(2) / 1000.0;
            break;
        case 8:
            h.now += VoiceSession::staleAfter;
            break;
        case 9:
            h.cancel(in.byte() & 1);
            break;
        }
        h.checkInvariants();
    }
    return 0;
}
