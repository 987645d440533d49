// Keeping a run, and running it again: what a session had from outside, in which round, and sums of what it gave.
//
//     Capture capture("fault");                       Replay replay("fault");
//     capture.attach(session);                        replay.attach(again, {});   // made like `session`, without inputs
//     session.run();                                  again.run();
//     if (capture.failure()) ...                      replay.result().isSame
//
// docs/capture.md has what is kept and how.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "binder.h"
#include "procedure.h"
#include "session.h"

namespace libzepl {

struct CaptureFolder;
struct CapturedRun;
class Recorder;
class ReplayCheck;
class ReplayScript;

class Capture {
 public:
    // A Problem where the folder is there and has something in it. attach() makes it.
    explicit Capture(std::filesystem::path folder);
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture();

    // Keeps how the session came from a procedure, so that `zepl replay` can make it again. `options` are those that it was
    // bound with.
    void keepProcedure(const Procedure& procedure, const BindOptions& options, const BoundProcedure& bound);
    // Keeps the run of the session, which was not started yet, has neither a capture nor a replay, and to which nothing more is
    // added. A capture keeps one run. A Problem where the folder and its files cannot be made: no run begins that is not kept. What
    // was made is removed again where the session never runs.
    void attach(Session& session);
    // Why something of the run is missing in the folder, although it could be made. The run itself goes on without being kept.
    std::optional<Problem> failure() const;

 private:
    std::filesystem::path folder_;
    std::unique_ptr<CapturedRun> run_;
    std::optional<std::string> text_;
    std::shared_ptr<Recorder> recorder_;
};

struct ReplaySettings {
    std::optional<std::uint64_t> until{};         // stops at the end of this round
    std::map<std::string, std::string> values{};  // of constants and variables, in place of those that the run had
    std::map<std::string, std::string>
        outputs{};  // files by the name of an output or of a pipe; the others are not written
};

struct ReplayedOutput {
    std::string name;
    OutputReport::Unit unit = OutputReport::Unit::samples;
    std::uint64_t count = 0;     // that the replay gave
    std::uint64_t expected = 0;  // that the run gave
    // Of both, and the same: what came after the last sum of a run that was cut off is not compared.
    std::uint64_t compared = 0;
    bool isCompared = true;  // false for one that the run did not have
    bool differs = false;
    // Where it differs first: from which sample, event or row to which, counted from 1, and by which round the run gave them.
    // 0 is none: the run, or the replay, had no more.
    std::uint64_t first = 0, last = 0, round = 0, replayRound = 0;
};

struct ReplayResult {
    bool isSame = true;  // what was compared
    bool isCut = false;  // the capture does not have the run's end, or not all of a file
    std::vector<ReplayedOutput> outputs{};
    std::size_t firstDifferent = 0;  // among the outputs, by the round
    std::uint64_t lastRound = 0;     // of the replay
};

// By what a replay failed.
enum class ReplayFailure {
    none,      // by nothing but what its tasks do
    ofRun,     // by what ended the run that was captured
    ofReplay,  // by what the run did not have, such as an output that cannot be written: the comparison says nothing
};

class Replay {
 public:
    // A Problem where the folder has no capture, or one that is damaged.
    explicit Replay(std::filesystem::path folder);
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;
    ~Replay();

    bool hasProcedure() const;
    // The procedure's text, and the options that it is bound with again.
    SourceText procedure() const;
    BindOptions bindOptions(const ReplaySettings& settings) const;
    // What is not as it was when the run was captured: versions, and the procedure's text; and where the capture is cut off.
    std::vector<std::string> notes(const CommandLibrary& library) const;
    // The inputs of the procedure, as it was bound, that get nothing: the run did not have them.
    std::vector<std::string> unfedNotes(const Procedure& procedure) const;
    // The round that the run ended in, or up to whose end it was kept.
    std::uint64_t lastRound() const;

    // Has the session take what the run had. It is like the one that was captured, was not started yet, and has no inputs, nor a
    // capture. Outputs that it has are written, and those that it lacks are taken and compared all the same. The replay must
    // outlive its run, and is for one.
    void attach(Session& session, const ReplaySettings& settings);
    // After the run; a Problem before.
    ReplayResult result() const;
    // What the reason of the run's report is.
    ReplayFailure failureOf(const Report& report) const;

 private:
    std::shared_ptr<CaptureFolder> folder_;
    std::shared_ptr<ReplayScript> script_;
    std::shared_ptr<ReplayCheck> check_;
};

}  // namespace libzepl
