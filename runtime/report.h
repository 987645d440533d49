// What a run came to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "element_type.h"
#include "files.h"

namespace libzepl {

class TextSink;

struct TaskReport {
    enum class State { waiting, running, error, refused, fault, exited };
    int line = 0;
    std::string command;
    std::int64_t element = 0;  // the index that it works for, of tasks that stand in one line; 0 is none
    State state = State::waiting;
    std::optional<std::uint32_t> code;  // of an error, or of a divide fault
    std::optional<std::int32_t> index;  // the parameter's position of an error or refusal
    std::optional<std::uint32_t> exit;  // the code that the task ended itself with
    std::string text;                   // what happened, in words
    std::string remedy;                 // what to do next; may be empty
    bool began = false;                 // its command has been called
};

struct PipeReport {
    std::string name;
    ElementType type = ElementType::int16;
    std::uint64_t written = 0;
    std::uint64_t unread = 0;  // by the slowest reader
};

struct TriggerReport {
    std::string name;
    std::uint64_t asserted = 0;
    std::uint32_t status = 0;
};

struct VariableReport {
    std::string name;
    ElementType type = ElementType::int16;
    std::variant<std::int64_t, double> value;
};

struct DigitalReport {
    std::uint64_t frame = 0;
    std::uint32_t bit = 0;
    std::uint32_t value = 0;
};

// What came of the input of a pipe.
struct InputReport {
    std::string name;             // of the pipe
    std::uint64_t delivered = 0;  // samples
    Losses losses{};              // of a live one that could not wait
};

// What came of an output that goes to a file or a stream.
struct OutputReport {
    enum class Unit { samples, events, frames, rows };
    std::string channel;  // or the array's name, or the table's file as the procedure names it
    std::string file;     // that has what was written, under its own name; empty for streams, and where there is none
    std::uint64_t count = 0;
    Unit unit = Unit::samples;   // of the count
    std::uint64_t channels = 1;  // samples to a frame
    // What the last whole frame or row has, pipe after pipe, or the position of the last event; empty where there is none.
    std::vector<std::variant<std::int64_t, float, double>> last;
};

// What a task does that its user may not expect.
struct CautionReport {
    int line = 0;
    std::string command;
    std::string text;          // what happens
    std::string remedy;        // the way out
    bool isArrival = false;    // the result depends on how the input arrives
    std::size_t task = 0;      // its place among the tasks
    std::int64_t element = 0;  // as of the task
};

struct Report {
    enum class Status {
        ok,           // every task is well
        failed,       // a task failed in the run, or the run itself did
        refused,      // a task's set-up failed, or the procedure cannot run
        interrupted,  // it was stopped on request, and every task was well until then
    };
    std::string procedure;
    Status status = Status::ok;
    std::string reason;  // why the run itself failed or was refused, where no task does; may be empty
    std::string remedy;
    std::string channel;  // the pipe or trigger that the reason is about; may be empty
    std::vector<TaskReport> tasks;
    std::vector<PipeReport> pipes;
    std::vector<InputReport> inputs;
    std::vector<TriggerReport> triggers;
    std::vector<VariableReport> variables;
    std::vector<DigitalReport> digital;
    std::vector<std::string> console;
    std::vector<std::string> notes;
    std::vector<std::string> warned;  // those of the notes that were shown before the run
    std::vector<CautionReport> cautions;
    std::vector<std::string> unwritten;  // pipes that are read and that nobody writes
    std::vector<OutputReport> outputs;
    bool outputsFinished = false;  // else they were dropped, or what there was of them is kept: notes say where
    double seconds = 0;
};

std::string_view nameOf(TaskReport::State state);
std::string_view nameOf(Report::Status status);  // as the report has it: one that was refused has failed

// A module that was loaded, with its versions.
struct ReportModule {
    std::string name;
    std::uint32_t build = 0;
    std::uint32_t interfaceVersion = 0;
};

// The report as JSON text, with a closing line feed. The first of the modules is in it twice, as `module`, too. Nothing is allocated.
void writeJson(const Report& report, const std::vector<ReportModule>& modules, TextSink& sink);
std::string toJson(const Report& report, const std::vector<ReportModule>& modules);

}  // namespace libzepl
