// Gives a run again what it had from outside.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/capture/capture_folder.h"
#include "runtime/engine/engine.h"

namespace libzepl {

class ReplayScript final : public RunScript {
 public:
    // The folder must outlive it. The run stops at the end of round `until`, where that comes before its own end.
    ReplayScript(const CaptureFolder& folder, std::optional<std::uint64_t> until);

    // Values that were set are left out from now on, for a variable that has another one.
    void leaveOut(std::size_t variable);
    // Attaches the inputs to the session, in the order that they had.
    void attachInputs(Session& session, Engine& e);

    void begin(Engine& e) override;
    std::uint64_t due(std::uint64_t round, std::size_t input) override;
    bool ends(std::uint64_t round, std::size_t input) override;
    void deliveredOf(std::uint64_t round, std::size_t input, std::uint64_t count) override;
    void applyValues(Engine& e) override;
    bool stops(std::uint64_t round) override;
    std::uint64_t nextRound() const override;

    // For the sources of inputs.
    bool isReady(std::size_t input);
    std::size_t read(std::size_t input, void* to, std::size_t count);
    std::uint64_t lastRound() const { return lastRound_; }

 private:
    struct Segment {
        std::uint64_t offset, count;  // a byte of the elements, and so many elements from it on
    };
    struct Run {
        std::uint64_t round, count;
        std::uint32_t step, times;
    };
    struct Input {
        std::deque<Run> runs{};
        std::deque<Segment> segments{};
        std::uint64_t due = 0;
        std::optional<std::uint64_t> end{};
        std::size_t width = 1;
        bool isMemory = false;
        std::vector<std::byte> memory{};
    };
    void advance(std::uint64_t round);
    void readEvents(std::uint64_t round);
    void release(std::size_t input);
    void fillMemory();

    const CaptureFolder& folder_;
    EventReader reader_;
    std::optional<Event> next_{};
    std::vector<Input> inputs_;
    std::uint64_t advanced_ = 0;
    std::uint64_t elementOffset_ = 0;
    std::deque<EventSummary::Value> values_;
    std::uint64_t stopRound_ = ~std::uint64_t{0};
    std::uint64_t lastRound_ = ~std::uint64_t{0};  // after which inputs have no more
    bool stopsBefore_ = false;                     // the first round
    const std::uint64_t* round_ = nullptr;         // the engine's
};

}  // namespace libzepl
