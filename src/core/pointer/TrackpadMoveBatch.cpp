#include "TrackpadMoveBatch.h"

#include <cmath>

#include "protocol/PadError.h"

namespace quillvane {

namespace {

PadError invalidMove() {
    return PadError::invalid("无效移动事件");
}

} // namespace

bool TrackpadMoveBatch::isValidDelta(double x, double y) {
    return std::isfinite(x) && std::isfinite(y) && std::abs(x) <= maximumDelta &&
           std::abs(y) <= maximumDelta;
}

bool TrackpadMoveBatch::isValidBatch(std::span<const TrackpadVector> deltas) {
    if (deltas.empty() || deltas.size() > maximumSamples)
        return false;
    for (const auto& v : deltas)
        if (!isValidDelta(v.x, v.y))
            return false;
    return true;
}

std::vector<WireMessage> TrackpadMoveBatch::messages(std::span<const TrackpadVector> deltas) {
    for (const auto& v : deltas)
        if (!isValidDelta(v.x, v.y))
            throw invalidMove();

    std::vector<WireMessage> out;
    std::vector<TrackpadVector> pending;
    TrackpadVector sum;
    const auto flush = [&] {
        if (pending.empty())
            return;
        WireMessage& message = out.emplace_back(WireMessage::Kind::move);
        message.x = sum.x;
        message.y = sum.y;
        if (pending.size() >= 2)
            message.movementSamples = std::move(pending);
        pending.clear();
        sum = {};
    };

    for (const auto& v : deltas) {
        if (pending.size() == maximumSamples || std::abs(sum.x + v.x) > maximumDelta ||
            std::abs(sum.y + v.y) > maximumDelta)
            flush();
        pending.push_back(v);
        sum.x += v.x;
        sum.y += v.y;
    }
    flush();
    return out;
}

std::vector<TrackpadVector> TrackpadMoveBatch::samples(const WireMessage& message) {
    if (message.kind != WireMessage::Kind::move)
        throw invalidMove();
    std::vector<TrackpadVector> result =
        message.movementSamples
            ? *message.movementSamples
            : std::vector<TrackpadVector>{{message.x.value_or(0), message.y.value_or(0)}};
    if (!isValidBatch(result))
        throw invalidMove();
    return result;
}

} // namespace quillvane
