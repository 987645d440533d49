// Procedures: what they declare, their binding to arrays, their run and what comes of it.

#include "runs.h"

#include <utility>

namespace python {

namespace {

template <class Value>
void take(const py::dict& given, const char* name, Value& value) {
    if (given.contains(name)) value = given[name].cast<Value>();
}

FeedPolicy feedOf(const py::tuple& given) {
    const auto kind = given[0].cast<std::string>();
    const auto number = given[1].cast<std::uint64_t>();
    if (kind == "whole") return {.kind = FeedPolicy::Kind::whole};
    if (kind == "lockstep") return {.kind = FeedPolicy::Kind::lockstep};
    if (kind == "random") return {.kind = FeedPolicy::Kind::random, .seed = number};
    return {.piece = number};
}

OutputMode modeOf(const std::string& name) {
    return name == "write" ? OutputMode::write : name == "collect" ? OutputMode::collect : OutputMode::writeAndCollect;
}

void takeSessionOptions(const py::dict& given, BindOptions& options) {
    SessionOptions& session = options.session;
    take(given, "block", session.block);
    take(given, "memory", session.memoryLimit);
    take(given, "rate", session.rate);
    take(given, "info", session.info);
    take(given, "start_time", session.startTime);
    take(given, "patience", session.patience);
    take(given, "pace", session.pace);
    take(given, "check", session.setUpOnly);
    if (given.contains("feed")) {
        options.feedGiven = true;
        session.feed = feedOf(given["feed"]);
    }
}

BindOptions bindOptions(const py::dict& given, std::vector<py::object>& lent) {
    BindOptions options;
    take(given, "inputs", options.inputs);
    take(given, "outputs", options.outputs);
    take(given, "values", options.values);
    take(given, "sync", options.sync);
    take(given, "collected", options.collected);
    take(given, "fed", options.fed);
    if (given.contains("mode")) options.outputMode = modeOf(given["mode"].cast<std::string>());
    takeSessionOptions(given, options);
    if (given.contains("samples"))
        for (const auto& [name, array] : given["samples"].cast<py::dict>()) {
            lent.push_back(py::reinterpret_borrow<py::object>(array));
            options.samples[name.cast<std::string>()] = samplesOf(array.cast<py::array>());
        }
    if (given.contains("events"))
        for (const auto& [name, rows] : given["events"].cast<py::dict>())
            for (const auto& [asserts, position] : rows.cast<std::vector<std::pair<bool, std::uint32_t>>>())
                options.events[name.cast<std::string>()].push_back({asserts, position});
    return options;
}

template <class Declarations, class Describe>
py::list describeEach(const Declarations& declarations, Describe describe) {
    py::list list;
    for (const auto& declared : declarations) list.append(describe(declared));
    return list;
}

py::object conversionOf(const std::optional<FileClause>& from) {
    return from && !from->conversion.empty() ? py::object(py::str(from->conversion)) : py::none();
}

// What a procedure declares: lists of pipes (name, type, whether its input converts), vectors alike, names of triggers; and
// the mistakes of its text.
py::tuple declarationsOf(const std::string& name, const std::string& text) {
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = parseProcedure({name, text}, diagnostics);
    const auto typed = [](const auto& declared) {
        return py::make_tuple(declared.name, std::string(nameOf(declared.type)), conversionOf(declared.from));
    };
    return py::make_tuple(describeEach(procedure.pipes, typed), describeEach(procedure.vectors, typed),
                          describeEach(procedure.triggers, [](const auto& trigger) { return py::str(trigger.name); }));
}

py::str numberText(const py::handle& number) { return textOf(numberOf(number)); }

void tellInPython(std::vector<Diagnostic>& diagnostics) {
    for (Diagnostic& each : diagnostics) {
        each.message = inPython(each.message);
        each.remedy = inPython(each.remedy);
    }
}

}  // namespace

Run::Run(std::string name, std::string text, const py::dict& options) {
    parsed_ = parseProcedure({std::move(name), std::move(text)}, diagnostics_);
    bound_.procedure = parsed_;
    if (!hasErrors(diagnostics_)) bind(options);
    if (!isBound()) report_ = refusalReport(bound_.procedure, diagnostics_);
    tellInPython(diagnostics_);
}

void Run::bind(const py::dict& given) {
    options_ = bindOptions(given, lent_);
    options_.session.stop = stop_;
    options_.session.cautions = library().cautions;
    bool isMainThread = false;
    take(given, "main_thread", isMainThread);
    try {
        const Interruption interruption(stop_, isMainThread);
        const py::gil_scoped_release released;
        bound_ = bindProcedure(parsed_, library().commands, options_, diagnostics_);
    } catch (const Interrupted&) {
        heedSignals();
        throw;
    }
    heedSignals();
}

// A session that runs still is ended, which takes other threads' time as well.
Run::~Run() {
    const py::gil_scoped_release released;
    bound_.session.reset();
}

void Run::requestStop() {
    isStopKnown_ = true;
    stop_->request();
}

void Run::heedSignals() {
    try {
        Interruption::check();
    } catch (const py::error_already_set&) {
        isStopKnown_ = true;
        throw;
    }
}

Session& Run::session() {
    if (isBound()) return *bound_.session;
    throw Problem("the procedure has mistakes, so that there is no session");
}

template <class Step>
void Run::interruptible(bool isMainThread, Step step) {
    {
        const Interruption interruption(stop_, isMainThread);
        const py::gil_scoped_release released;
        const std::lock_guard ending(ending_);
        if (!isConcluded_) {
            Report report = step();
            const py::gil_scoped_acquire acquired;
            conclude(std::move(report));
        }
    }
    heedSignals();
}

void Run::run(bool isMainThread, unsigned jobs) {
    session();  // there is one
    interruptible(isMainThread, [&] { return runBound(bound_, parsed_, library().commands, options_, jobs); });
}

void Run::start() { session().start(); }

void Run::wait(bool isMainThread) {
    interruptible(isMainThread, [this] { return session().wait(); });
}

// The arrays that were lent are the caller's alone again.
void Run::conclude(Report report) {
    report_ = std::move(report);
    report_.procedure = parsed_.source.name;
    isConcluded_ = true;
    lent_.clear();
    for (Diagnostic& each : diagnose(bound_.procedure, report_, bound_.advice)) diagnostics_.push_back(std::move(each));
    tellInPython(diagnostics_);
}

std::string Run::rendered() const { return render(diagnostics_, parsed_.source); }

std::string Run::reportJson() const {
    std::vector<ReportModule> modules;
    for (const LoadedModule& module : library().commands.modules())
        modules.push_back({module.name, module.buildVersion, module.interfaceVersion});
    return toJson(report_, modules);
}

py::list Run::variables() const {
    py::list list;
    for (const VariableReport& variable : report_.variables)
        list.append(
            py::make_tuple(variable.name, std::string(nameOf(variable.type)),
                           std::visit([](auto value) -> py::object { return py::cast(value); }, variable.value)));
    return list;
}

py::list Run::outputs(const py::object& self) const {
    static constexpr const char* kinds[] = {"pipe", "trigger", "array", "table"};
    py::list list;
    if (!isBound()) return list;
    for (const CollectedOutput& output : bound_.collected)
        list.append(py::make_tuple(kinds[static_cast<std::size_t>(output.kind)], output.name, output.rate,
                                   collected(output, self)));
    return list;
}

// A table's columns are (heading, array) and, of one that counts, (heading, (step, rate)).
py::object Run::collected(const CollectedOutput& output, const py::object& owner) const {
    const Session& session = *bound_.session;
    if (output.kind == CollectedOutput::Kind::trigger) {
        const std::vector<std::uint32_t> events = session.collectedEvents(output.trigger);
        return py::array_t<std::uint32_t>(static_cast<py::ssize_t>(events.size()), events.data());
    }
    const auto channelsOf = [](const ColumnRequest& column) { return static_cast<std::size_t>(column.channels); };
    if (output.kind == CollectedOutput::Kind::pipe) {
        const ColumnRequest& column = output.columns.front();
        return arrayOn(session.collectedMemory(output.pipe), column.type, channelsOf(column), owner);
    }
    const std::vector<std::span<const std::byte>> pieces = session.collectedFrames(output.frames);
    if (output.kind == CollectedOutput::Kind::array) {
        std::size_t channels = 0;
        for (const ColumnRequest& column : output.columns) channels += channelsOf(column);
        return arrayOn(pieces.front(), output.columns.front().type, channels, owner);
    }
    py::list columns;
    auto piece = pieces.begin();
    for (const ColumnRequest& column : output.columns) {
        py::object values = column.counting ? py::object(py::make_tuple(column.counting->step, column.counting->rate))
                                            : py::object(arrayOn(*piece++, column.type, channelsOf(column), owner));
        columns.append(py::make_tuple(column.heading, values));
    }
    return columns;
}

void defineRuns(py::module_& module) {
    module.def("declarations", declarationsOf);
    module.def("number_text", numberText);
    py::class_<Run, std::shared_ptr<Run>>(module, "Run")
        .def(py::init<std::string, std::string, const py::dict&>())
        .def_property_readonly("is_bound", &Run::isBound)
        .def("run", &Run::run)
        .def("start", &Run::start)
        .def("wait", &Run::wait)
        .def("request_stop", &Run::requestStop)
        .def_property_readonly("diagnostics", &Run::diagnostics)
        .def_property_readonly("rendered", &Run::rendered)
        .def_property_readonly("report_json", &Run::reportJson)
        .def_property_readonly("status", [](const Run& run) { return static_cast<int>(run.report().status); })
        .def_property_readonly("is_cut_short", &Run::isCutShort)
        .def_property_readonly("reason", [](const Run& run) { return run.report().reason; })
        .def_property_readonly("notes", [](const Run& run) { return run.report().notes; })
        .def_property_readonly("console", [](const Run& run) { return run.report().console; })
        .def_property_readonly("variables", &Run::variables)
        .def("outputs", [](const py::object& self) { return self.cast<const Run&>().outputs(self); });
}

}  // namespace python
