#include "runtime/capture/replay_check.h"

#include <algorithm>

namespace libzepl {

ReplayCheck::ReplayCheck(const CaptureFolder& folder, std::optional<std::uint64_t> until)
    : folder_(folder),
      reader_(folder.reader()),
      until_(std::min(until.value_or(~std::uint64_t{0}), folder.isCut ? folder.known : ~std::uint64_t{0})),
      points_(folder.run.outputs.size()),
      counted_(folder.run.outputs.size()),
      isWhole_(!folder.isCut && !until) {
    for (const CapturedOutput& output : folder.run.outputs) {
        sums_.push_back(sumFor(output));
        outputs_.push_back({.name = output.name, .kind = output.kind, .isTable = output.isTable});
    }
    // A drain that an output's failure cut short is not all there.
    if (folder.summary.failure) isWhole_ = false;
}

void ReplayCheck::begin(Engine& e) {
    kept_.begin(e);
    // Those of the run come first among their kind, and in order.
    std::vector<bool> isTaken(outputs_.size());
    const std::size_t captured = outputs_.size();
    for (const CapturedOutput& output : outputsOf(e)) {
        std::size_t i = 0;
        while (i < captured && (isTaken[i] || outputs_[i].kind != output.kind)) ++i;
        if (i < captured) {
            isTaken[i] = true;
        } else {
            i = outputs_.size();
            outputs_.push_back(
                {.name = output.name, .kind = output.kind, .isTable = output.isTable, .isCompared = false});
        }
        order_.push_back(i);
    }
}

void ReplayCheck::lookAtKept(std::uint64_t round) noexcept {
    kept_.look([&](std::size_t place, const void* const* column, std::uint64_t n) { taken(round, place, column, n); });
}

// The next point of the output that counts; null where the events have no more.
const ReplayCheck::Point* ReplayCheck::nextPoint(std::size_t output) {
    while (points_[output].empty()) {
        const std::optional<Event> event = reader_.next();
        if (!event) return nullptr;
        if (event->tag != EventTag::point || event->round > until_) continue;
        // What the session keeps is looked at after a round's deliveries, before which the replay stops.
        if (event->round == until_ && folder_.run.outputs[event->place].isKept) continue;
        counted_[event->place] += event->count;
        points_[event->place].push_back({event->round, counted_[event->place], event->word});
    }
    return &points_[output].front();
}

void ReplayCheck::taken(std::uint64_t round, std::size_t place, const void* const* columns,
                        std::uint64_t count) noexcept {
    const std::size_t output = order_[place];
    Output& at = outputs_[output];
    at.count += count;
    if (!at.isCompared || at.differs) return;
    OutputSum& sum = sums_[output];
    for (std::uint64_t done = 0; done < count;) {
        const Point* point = nextPoint(output);
        if (point == nullptr) {
            if (!isWhole_) return;
            at.differs = true;
            at.first = at.last = sum.count() + 1;
            at.replayRound = round;
            return;
        }
        const std::uint64_t n = std::min(count - done, point->count - sum.count());
        sum.add(columns, done, n);
        done += n;
        if (sum.count() < point->count) continue;
        if (sum.value() != point->sum) {
            at.differs = true;
            at.first = at.compared + 1;
            at.last = point->count;
            at.round = point->round;
            at.replayRound = round;
            return;
        }
        at.compared = point->count;
        points_[output].pop_front();
    }
}

ReplayFailure ReplayCheck::failureOf(const Report& report) const {
    if (report.status != Report::Status::failed || report.reason.empty()) return ReplayFailure::none;
    if (report.reason != reason_) return ReplayFailure::ofReplay;  // outputs are finished after the last round
    if (end_ != RunEnd::failed) return ReplayFailure::none;
    const std::optional<Event>&failure = folder_.summary.failure, &end = folder_.summary.end;
    const bool isOfRun = isPortFailure_ ? failure && failure->text == reason_
                                        : end && end->word == 1 + static_cast<std::uint64_t>(RunEnd::failed);
    return isOfRun ? ReplayFailure::ofRun : ReplayFailure::ofReplay;
}

void ReplayCheck::end(Engine& e) noexcept {
    lookAtKept(e.scheduler.round);
    hasEnded_ = true;
    lastRound_ = e.scheduler.round;
    end_ = e.outcome.end;
    reason_ = e.outcome.reason;
    for (std::size_t i = 0; i < points_.size(); ++i) {
        Output& at = outputs_[i];
        at.expected = folder_.summary.counts[i];
        const Point* point = at.differs ? nullptr : nextPoint(i);
        if (point == nullptr) continue;
        // The replay gave less than the run did by then: of what it gave since the last point nothing is known.
        at.differs = true;
        at.first = at.compared + 1;
        at.last = point->count;
        at.round = point->round;
    }
}

}  // namespace libzepl
