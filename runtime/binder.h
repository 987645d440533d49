// From a parsed procedure to a session that can run: names are resolved, literals get their types, files are opened.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "procedure.h"
#include "session.h"

namespace libzepl {

// Where the outputs go that have a file.
enum class OutputMode { write, collect, writeAndCollect };

// What an earlier run of a procedure had of its files, for one that opens none.
class RecordedFiles {
 public:
    virtual ~RecordedFiles() = default;
    virtual std::uint64_t frames(const std::string& pipe) const = 0;                          // of its recording
    virtual std::optional<std::vector<std::byte>> vector(const std::string& name) const = 0;  // that came from outside
    virtual std::optional<double> rate() const = 0;                                           // that its inputs state
};

// What the caller changes of a procedure.
struct BindOptions {
    std::map<std::string, std::string> inputs;  // files by the name of a pipe or trigger; they replace the procedure's
    std::map<std::string, std::string> outputs;
    std::set<std::string> discarded;            // outputs that are counted and not written, by the same names
    std::map<std::string, std::string> values;  // by the name of a variable, as text
    // Samples in place of a file, by the name of a pipe, an array of pipes or a vector, to which a file's clauses and rules
    // apply; one channel is taken for any. They come before `inputs`, and last as long as the session.
    std::map<std::string, MemorySamples> samples;
    std::map<std::string, std::vector<TriggerRow>> events;  // by the name of a trigger
    std::set<std::string> fed;  // pipes that the caller feeds once they are bound, in place of their files
    OutputMode outputMode = OutputMode::write;
    // Pipes, arrays of them and triggers to collect beside the outputs, with a limit where the procedure gives none.
    std::map<std::string, std::optional<std::uint64_t>> collected;
    SessionOptions session;  // its rate is that of `samples`, and the procedure's where that states none
    bool feedGiven = false;  // session.feed was asked for, and not the procedure's own way
    bool sync = true;        // outputs are on the disk when the run has ended
    // Called with each address on which the session listens at a port that the system chose, with that port.
    std::function<void(const std::string&)> listening{};
    // Where it is given, channels get no inputs, and outputs are those alone that `outputs` names.
    std::shared_ptr<const RecordedFiles> recorded{};
};

// An output that is collected, in the order of the declarations.
struct CollectedOutput {
    enum class Kind { pipe, trigger, array, table };
    Kind kind = Kind::pipe;
    std::string name;  // of a table: its file, as the procedure names it
    PipeId pipe{};
    TriggerId trigger{};
    FramesId frames{};                     // of an array or a table
    std::vector<ColumnRequest> columns{};  // of a pipe one; those that count are not among the collected frames
    double rate = 1000;                    // frames a second
};

// A session with what is needed to tell of it in the procedure's terms. The command library must outlive it.
struct BoundProcedure {
    std::unique_ptr<Session> session;
    Procedure procedure;  // as it was bound: with literals for expressions and elements for arrays
    std::vector<std::string>
        advice;  // for each command, what its signature admits where the list does not fit; or empty
    std::vector<CollectedOutput> collected;
    std::map<std::string, std::uint64_t> lengths{};  // of recordings, in frames, that expressions took, by their pipes
    bool canBeRepeated = true;                       // every input is there once more when it is bound again
};

// Binds the procedure. Every mistake is added to `diagnostics`, with its place; the session is null when there was one.
// Interrupted is thrown when options.session.stop asks for an end.
BoundProcedure bindProcedure(const Procedure& procedure, const CommandLibrary& library, BindOptions options,
                             std::vector<Diagnostic>& diagnostics);

// Runs what is bound, by up to `jobs` engines at once where groups of its tasks share nothing (Session::runInLanes): the results
// are those of one engine. Where the groups turn out to share something it is bound again, by the same arguments, and run by
// one. 0 jobs are as many as there are processors that this process does not use for other runs, or 1 where a module is loaded
// beside the first.
Report runBound(BoundProcedure& bound, const Procedure& procedure, const CommandLibrary& library,
                const BindOptions& options, unsigned jobs);

// What the report of a run of the procedure says of mistakes, at their places: tasks that were refused, failed or ended
// themselves, pipes that nobody writes, lists that a signature does not describe, cautions, and why the run itself failed.
// Both `procedure` and `advice` are those of the bound procedure. What several elements of an array have in common is said
// once.
std::vector<Diagnostic> diagnose(const Procedure& procedure, const Report& report,
                                 const std::vector<std::string>& advice);

// A report for a procedure that was refused before it ran.
Report refusalReport(const Procedure& procedure, const std::vector<Diagnostic>& diagnostics);

// Where the procedure's own statements look for `name`: in the procedure's folder.
std::filesystem::path pathBeside(const Procedure& procedure, const std::string& name);

// What the procedure does with that file, as "is read by `a`"; empty where it does not use it. "-" is standard output.
std::string useOfFile(const Procedure& procedure, const CommandLibrary& library, const BindOptions& options,
                      const std::filesystem::path& path);

}  // namespace libzepl
