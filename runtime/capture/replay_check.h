// Compares what the outputs of a replay are given with the sums of the run that was captured.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "runtime/capture.h"
#include "runtime/capture/capture_folder.h"
#include "runtime/capture/recorder.h"
#include "runtime/engine/run_log.h"

namespace libzepl {

class ReplayCheck final : public RunRecorder {
 public:
    struct Output {
        std::string name{};
        CapturedOutput::Kind kind = CapturedOutput::Kind::pipe;
        bool isTable = false;
        bool isCompared = true;      // false for one that the run did not have
        std::uint64_t count = 0;     // taken in the replay
        std::uint64_t expected = 0;  // in the run, as far as it is replayed
        std::uint64_t compared = 0;  // equal so far
        // Where it differs first: among these, from 1, that the run took by `round`; the replay took them by `replayRound`.
        bool differs = false;
        std::uint64_t first = 0, last = 0, round = 0, replayRound = 0;
    };

    ReplayCheck(const CaptureFolder& folder, std::optional<std::uint64_t> until);

    const std::vector<Output>& outputs() const { return outputs_; }
    bool hasEnded() const { return hasEnded_; }
    std::uint64_t lastRound() const { return lastRound_; }
    // As of Replay::failureOf.
    ReplayFailure failureOf(const Report& report) const;

    void begin(Engine& e) override;
    void elements(const std::byte*, std::uint64_t) noexcept override {}
    void delivered(std::uint64_t, std::size_t, std::uint64_t, bool) noexcept override {}
    void value(std::uint64_t, std::size_t, const Cell&) noexcept override {}
    void served(std::uint64_t round) noexcept override { lookAtKept(round); }
    void taken(std::uint64_t round, std::size_t place, const void* const* columns,
               std::uint64_t count) noexcept override;
    void failed(std::uint64_t, const std::string&, const std::string&) noexcept override { isPortFailure_ = true; }
    void end(Engine& e) noexcept override;
    void crashed(std::uint64_t) noexcept override {}

 private:
    struct Point {
        std::uint64_t round, count, sum;  // `count` in all
    };
    const Point* nextPoint(std::size_t output);
    void lookAtKept(std::uint64_t round) noexcept;

    const CaptureFolder& folder_;
    EventReader reader_;
    std::uint64_t until_;  // what came after the end of this round is not compared
    std::vector<Output> outputs_;
    std::vector<std::size_t> order_;  // which of them an output of the session is, by its place
    std::vector<OutputSum> sums_;
    std::vector<std::deque<Point>> points_;
    std::vector<std::uint64_t> counted_;  // frames of the points that were read, by output
    bool isWhole_ = true;                 // the events say how each output ends
    std::uint64_t lastRound_ = 0;
    bool isPortFailure_ = false;  // an input or an output failed
    bool hasEnded_ = false;
    RunEnd end_ = RunEnd::running;
    std::string reason_{};  // of a failure until the last round
    KeptOutputs kept_;
};

}  // namespace libzepl
