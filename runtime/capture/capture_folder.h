// A capture as its folder has it, whole or cut off where the process was killed.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "runtime/capture/captured_run.h"
#include "runtime/capture/events.h"

namespace libzepl {

// What of the events concerns the run as a whole, found before it is replayed.
struct EventSummary {
    struct Value {
        std::uint64_t round = 0, variable = 0, cell = 0;
    };
    std::vector<Value> values{};
    std::vector<std::uint64_t> delivered{};      // elements by input
    std::vector<std::uint64_t> counts{};         // frames by output
    std::vector<InputNotes> notes{};             // by input
    std::uint64_t lastRound = 0, lastBegin = 0;  // of an event
    std::uint64_t elementBytes = 0;
    std::optional<Event> failure{}, end{};
};

struct CaptureFolder {
    // A Problem where it is no capture, or damaged.
    explicit CaptureFolder(std::filesystem::path path);

    EventReader reader() const { return {events, run.inputs.size(), run.variables.size(), run.outputs.size()}; }

    std::filesystem::path path;
    CapturedRun run;
    LogBytes events, elements;
    EventSummary summary;
    bool isCut = false;                       // it does not have the run's end
    std::string cause{};                      // why
    std::uint64_t known = ~std::uint64_t{0};  // up to the end of this round all that came from outside is there

 private:
    void cutAt(std::uint64_t round, const std::string& cause);
    std::uint64_t lastRoundWithElements() const;
};

// Reads all events once. A Problem where they are damaged, or name more elements than there are.
EventSummary summarize(EventReader reader, const CapturedRun& run, std::uint64_t known);

}  // namespace libzepl
