// Runs of one procedure whose input arrives in different ways.
#pragma once

#include <atomic>
#include <map>
#include <thread>

#include "runtime/binder.h"
#include "tests/determinism/recordings.h"
#include "tests/support/rows_sink.h"
#include "tests/support/session_support.h"

namespace libzepl {

// What a run gave, as bytes by the names of pipes, triggers (the positions asserted) and variables (the last value), and by
// "console" and "ends".
using Bytes = std::map<std::string, std::string>;

struct Run {
    const Bytes& inputs;  // recordings by pipe, assertions by trigger
    Bytes outputs{};
    Report report{};
    bool isVoid = false;   // the attempt to run it in lanes
    bool isApart = false;  // it was read on other threads, too

    template <class Element>
    static std::vector<Element> elementsOf(const std::string& bytes) {
        std::vector<Element> elements(bytes.size() / sizeof(Element));
        if (!elements.empty()) std::memcpy(elements.data(), bytes.data(), elements.size() * sizeof(Element));
        return elements;
    }
    template <class Element>
    std::vector<Element> input(const std::string& name) const {
        return elementsOf<Element>(inputs.at(name));
    }
    template <class Element>
    std::vector<Element> output(const std::string& name) const {
        return elementsOf<Element>(outputs.at(name));
    }
};

template <class Element>
std::string textOf(const std::vector<Element>& elements) {
    return {reinterpret_cast<const char*>(elements.data()), elements.size() * sizeof(Element)};
}

// How inputs arrive and how much pipes hold: as by default, or as a seed chooses.
class Arrival {
 public:
    Arrival() = default;
    explicit Arrival(std::uint64_t seed) : random_(seed), isRandom_(true) {}

    SessionOptions options() {
        SessionOptions options;
        if (!isRandom_) return options;
        options.block = static_cast<std::uint32_t>(size());
        switch (random_() % 8) {
            case 0:
                options.feed.kind = FeedPolicy::Kind::whole;
                break;
            case 1:
                options.feed.piece = 1;
                break;
            case 2:
            case 3:
                options.feed.piece = size();
                break;
            default:
                options.feed = {.kind = FeedPolicy::Kind::random, .seed = random_()};
        }
        return options;
    }
    std::optional<std::uint64_t> capacity() { return isRandom_ ? std::optional(size()) : std::nullopt; }
    bool coin() { return isRandom_ && random_() % 2 == 0; }

 private:
    // 1 to 4096, small as often as large.
    std::uint64_t size() {
        const std::uint64_t bound = std::uint64_t{1} << random_() % 13;
        return 1 + random_() % bound;
    }

    std::mt19937_64 random_;
    bool isRandom_ = false;
};

// A recording in memory, read as a file is.
class MemorySource : public Source {
 public:
    MemorySource(const std::string& bytes, std::size_t width, std::atomic<bool>& isApart)
        : bytes_(bytes), width_(width), isApart_(isApart) {}
    std::size_t read(void* to, std::size_t count) override {
        if (std::this_thread::get_id() != maker_) isApart_ = true;
        const std::size_t got = std::min(count * width_, bytes_.size() - at_);
        std::memcpy(to, bytes_.data() + at_, got);
        at_ += got;
        return got / width_;
    }
    std::optional<std::uint64_t> length() const override { return bytes_.size() / width_; }
    int channels() const override { return 1; }
    std::optional<double> rate() const override { return {}; }

 private:
    const std::string& bytes_;
    std::size_t width_, at_ = 0;
    std::atomic<bool>& isApart_;
    std::thread::id maker_ = std::this_thread::get_id();
};

class BytesSink : public Sink {
 public:
    BytesSink(std::string& bytes, std::size_t width) : bytes_(bytes), width_(width) {}
    void write(const void* from, std::size_t count) override {
        bytes_.append(static_cast<const char*>(from), count * width_);
    }
    void finish() override {}

 private:
    std::string& bytes_;
    std::size_t width_;
};

// A procedure whose files are the recordings of recordings.h and what a Run holds.
class RepeatedProcedure {
 public:
    explicit RepeatedProcedure(const std::string& text) {
        std::vector<Diagnostic> diagnostics;
        given_ = expanded(parseProcedure({"case.zp", text}, diagnostics), diagnostics);
        if (!diagnostics.empty()) throw std::invalid_argument(render(diagnostics, given_.source));
        bare_ = given_;
        for (PipeDeclaration& pipe : bare_.pipes) pipe.from = pipe.to = {};
        for (TriggerDeclaration& trigger : bare_.triggers) trigger.from = trigger.to = {};
        bare_.tables.clear();
        for (const PipeDeclaration& pipe : given_.pipes)
            if (pipe.from)
                inputs_[pipe.name] = withElementType(pipe.type, [&]<class Element>() {
                    return textOf(recordingOf<Element>(pipe.from->path, pipe.name));
                });
        for (const TriggerDeclaration& trigger : given_.triggers) {
            if (!trigger.from) continue;
            std::vector<std::uint32_t> positions;
            for (const TriggerRow& row : marksOf(trigger.from->path, trigger.name))
                if (row.asserts) positions.push_back(row.position);
            inputs_[trigger.name] = textOf(positions);
        }
    }

    const Procedure& procedure() const { return given_; }

    Run run(Arrival arrival, unsigned jobs = 1) const {
        Procedure procedure = bare_;
        BindOptions options;
        options.session = arrival.options();
        for (PipeDeclaration& pipe : procedure.pipes) pipe.capacity = arrival.capacity();
        std::vector<Diagnostic> diagnostics;
        const BoundProcedure bound = bindProcedure(procedure, testLibrary(), options, diagnostics);
        if (bound.session == nullptr) throw std::invalid_argument(render(diagnostics, procedure.source));
        Run run{.inputs = inputs_};
        std::atomic<bool> isApart{false};
        attachPipes(*bound.session, arrival, run.outputs, isApart);
        attachTriggers(*bound.session);
        for (const TableDeclaration& table : given_.tables) attachTable(*bound.session, table, run.outputs);
        const std::optional<Report> report = bound.session->runInLanes(jobs);
        run.isVoid = !report;
        run.isApart = isApart;
        if (run.isVoid) return run;
        run.report = *report;
        takeResults(*bound.session, run);
        return run;
    }

 private:
    // Half of the inputs are read as files are and half lent; half of the outputs are written as files are and half
    // kept by the session.
    void attachPipes(Session& session, Arrival& arrival, Bytes& outputs, std::atomic<bool>& isApart) const {
        for (const PipeDeclaration& pipe : given_.pipes) {
            const PipeId id = session.pipeNamed(pipe.name);
            const std::size_t width = widthOf(pipe.type);
            if (pipe.from) {
                const std::string& bytes = inputs_.at(pipe.name);
                if (arrival.coin())
                    session.feedMemory(id, bytes.data(), bytes.size() / width);
                else
                    session.setInput(id, std::make_unique<MemorySource>(bytes, width, isApart));
            }
            if (!pipe.to) continue;
            if (arrival.coin())
                session.collect(id, pipe.to->limit);
            else
                session.setOutput(id, std::make_unique<BytesSink>(outputs[pipe.name], width), pipe.to->limit);
        }
    }

    void attachTriggers(Session& session) const {
        for (const TriggerDeclaration& trigger : given_.triggers) {
            const TriggerId id = session.triggerNamed(trigger.name);
            if (trigger.from) session.setInput(id, marksOf(trigger.from->path, trigger.name));
            if (trigger.to) session.collect(id, trigger.to->limit);
        }
    }

    // A table of pipes alone.
    void attachTable(Session& session, const TableDeclaration& table, Bytes& outputs) const {
        JointOutputSettings settings{.name = table.to.path, .isTable = true, .limit = table.to.limit};
        std::vector<std::size_t> widths;
        for (const TableColumn& column : table.columns) {
            settings.members.push_back({session.pipeNamed(column.name)});
            for (const PipeDeclaration& pipe : given_.pipes)
                if (pipe.name == column.name) widths.push_back(widthOf(pipe.type));
        }
        auto sink = std::make_unique<RowsSink>(outputs[table.to.path], std::move(widths));
        session.setOutput(std::move(settings), std::move(sink));
    }

    void takeResults(const Session& session, Run& run) const {
        for (const PipeDeclaration& pipe : given_.pipes)
            if (pipe.to && run.outputs.count(pipe.name) == 0)
                run.outputs[pipe.name] = withElementType(pipe.type, [&]<class Element>() {
                    return textOf(session.collected<Element>(session.pipeNamed(pipe.name)));
                });
        for (const TriggerDeclaration& trigger : given_.triggers)
            if (trigger.to)
                run.outputs[trigger.name] = textOf(session.collectedEvents(session.triggerNamed(trigger.name)));
        for (const VariableReport& variable : run.report.variables)
            run.outputs[variable.name] =
                std::visit([](auto value) { return textOf(std::vector{value}); }, variable.value);
        for (const std::string& line : run.report.console) run.outputs["console"] += line + "\n";
        for (const std::string& state : statesOf(run.report))
            if (state != "waiting" && state != "running") run.outputs["ends"] += state + "\n";
    }

    Procedure given_, bare_;  // as written, and without its files
    Bytes inputs_;
};

}  // namespace libzepl
