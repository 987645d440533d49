#include "cli/serve/live_run.h"

#include <algorithm>
#include <cstdio>

#include "cli/crash.h"
#include "cli/pages.h"
#include "cli/report_file.h"
#include "runtime/files.h"
#include "runtime/stop_request.h"

namespace cli {

using namespace libzepl;
using Phase = RunState::Phase;

namespace {

constexpr std::chrono::milliseconds patience(200);

// Such an input has a clock of its own.
bool hasLiveInput(const Procedure& procedure, const BindOptions& options) {
    const auto isLive = [](const std::string& path) { return isAddress(path); };
    for (const auto& [name, path] : options.inputs)
        if (isLive(path)) return true;
    return std::any_of(procedure.pipes.begin(), procedure.pipes.end(), [&](const PipeDeclaration& pipe) {
        return pipe.from && !options.inputs.contains(pipe.name) && isLive(pipe.from->path);
    });
}

}  // namespace

// One run, and what is needed to report of it. The session goes first.
struct LiveRun::Bound {
    std::vector<Diagnostic> diagnostics;
    Procedure procedure;
    std::optional<ReportFile> reportFile;
    std::optional<CrashNotice> crash;
    BoundProcedure bound;
};

LiveRun::LiveRun(const RunArguments& arguments, const CommandLibrary& library, std::shared_ptr<StopRequest> stop)
    : arguments_(arguments),
      paceIsGiven_(!arguments.pace.empty()),
      library_(library),
      stop_(std::move(stop)),
      state_(std::make_shared<RunState>()) {
    if (arguments_.pace == "0") arguments_.pace.clear();
    thread_ = std::thread([this] { work(); });
}

LiveRun::~LiveRun() {
    {
        const std::lock_guard lock(mutex_);
        quits_ = true;
        if (session_ != nullptr) session_->requestStop();
    }
    changed_.notify_all();
    thread_.join();
}

void LiveRun::start() {
    const std::lock_guard lock(mutex_);
    if (state_->phase != Phase::ended && state_->phase != Phase::refused) return;
    wanted_ = true;
    changed_.notify_all();
}

void LiveRun::stop() {
    {
        const std::lock_guard lock(mutex_);
        if (state_->phase != Phase::running && state_->phase != Phase::paused) return;
        session_->requestStop();
    }
    changePhase({Phase::running, Phase::paused}, Phase::stopping);
}

void LiveRun::setPaused(bool isPaused) {
    const Phase from = isPaused ? Phase::running : Phase::paused, to = isPaused ? Phase::paused : Phase::running;
    {
        const std::lock_guard lock(mutex_);
        if (state_->phase != from) return;
        session_->setPaused(isPaused);
    }
    changePhase({from}, to);
}

void LiveRun::changePhase(std::initializer_list<Phase> from, Phase to) {
    publish([&](RunState& state) {
        if (std::find(from.begin(), from.end(), state.phase) != from.end()) state.phase = to;
    });
}

void LiveRun::set(const std::string& name, const Number& value) {
    const std::lock_guard lock(mutex_);
    if (session_ == nullptr)
        throw Problem("no run has a variable " + libzepl::quoted(name), "start the procedure first");
    session_->setNumber(session_->variableNamed(name), value);
    values_[name] = value;
}

std::shared_ptr<const RunState> LiveRun::state() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

std::shared_ptr<Watching> LiveRun::watching() const {
    const std::lock_guard lock(mutex_);
    return watching_;
}

void LiveRun::publish(const std::function<void(RunState&)>& change) {
    const std::lock_guard lock(mutex_);
    auto state = std::make_shared<RunState>(*state_);
    change(*state);
    state_ = std::move(state);
}

void LiveRun::work() {
    const WaitScope waiting(*stop_);
    while (true) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return wanted_ || quits_; });
            if (quits_) return;
            wanted_ = false;
        }
        runOnce();
    }
}

void LiveRun::runOnce() {
    publish([](RunState& state) {
        const std::uint32_t run = state.run + 1;
        state = RunState();
        state.run = run;
    });
    std::string refusal;
    std::unique_ptr<Bound> run;
    try {
        run = bound();
        refusal = render(run->diagnostics, run->procedure.source);
        if (!refusal.empty()) std::fputs(refusal.c_str(), stderr);
        if (run->bound.session != nullptr) {
            begin(*run);
            follow(*run);
            end(*run);
        }
    } catch (const Problem& problem) {
        printProblem(problem);
        refusal += std::string(problem.what()) + "\n" + problem.remedy();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zepl: error: %s\n", error.what());
        refusal += error.what();
    }
    const std::lock_guard lock(mutex_);
    session_ = nullptr;
    if (state_->phase == Phase::ended) return;
    auto state = std::make_shared<RunState>(*state_);
    state->phase = Phase::refused;
    state->text = refusal;
    state_ = std::move(state);
    exitStatus_ = wrongCall;
}

BindOptions LiveRun::options(std::vector<Diagnostic>& diagnostics) {
    BindOptions options = bindOptions(arguments_, false, diagnostics);
    options.session.stop = stop_;
    options.session.cautions = pageCautions(library_);
    options.session.console = [this](std::string_view text) {
        console_.add(text);
        if (!arguments_.quiet) std::fwrite(text.data(), 1, text.size(), stderr);
    };
    return options;
}

std::unique_ptr<LiveRun::Bound> LiveRun::bound() {
    auto run = std::make_unique<Bound>();
    BindOptions options = this->options(run->diagnostics);
    run->procedure = parseProcedure({arguments_.procedure, readTextFile(arguments_.procedure)}, run->diagnostics);
    if (hasErrors(run->diagnostics)) return run;
    if (!paceIsGiven_ && options.session.feed.kind != FeedPolicy::Kind::whole && !hasLiveInput(run->procedure, options))
        options.session.pace = 1;
    run->reportFile.emplace(arguments_.report, run->procedure, library_, options);
    options.session.crashed = [&crash = run->crash](Report& report, std::size_t task) { crash->end(report, task); };
    run->bound = bindProcedure(run->procedure, library_, options, run->diagnostics);
    if (run->bound.session != nullptr)
        run->crash.emplace(run->bound.procedure, run->reportFile->file(), reportModules(library_));
    return run;
}

void LiveRun::begin(Bound& run) {
    Session& session = *run.bound.session;
    const Snapshot before = session.snapshot();
    const std::uint32_t number = state()->run;
    auto watching = std::make_shared<Watching>(
        number, session, before, [this, number](const std::string& pipe) { return watchLater(number, pipe); });
    const std::lock_guard lock(mutex_);
    for (const auto& [name, value] : values_)
        if (const std::optional<VariableId> variable = session.findVariable(name)) {
            try {
                session.setNumber(*variable, value);
            } catch (const Problem&) {
                // The procedure has changed, and the variable is of another type now.
            }
        }
    session.start();
    session_ = &session;
    // The first page is to have the run's rate: only a run that was started knows it.
    const Snapshot first = session.snapshot(std::chrono::seconds(10));
    watching->noteProgress(first);
    watching_ = std::move(watching);
    auto state = std::make_shared<RunState>(*state_);
    state->phase = Phase::running;
    state->text = render(run.diagnostics, run.procedure.source);
    state->snapshot = first;
    state->starts = before.variables;
    state_ = std::move(state);
    if (quits_) session.requestStop();
}

std::optional<Tap> LiveRun::watchLater(std::uint32_t run, const std::string& pipe) {
    const std::lock_guard lock(mutex_);
    if (session_ == nullptr || state_->run != run) return {};
    return session_->watch(session_->pipeNamed(pipe), Trace::settings());
}

// Until the run has ended.
void LiveRun::follow(Bound& run) {
    constexpr std::chrono::milliseconds pause(100);
    while (true) {
        const Snapshot snapshot = run.bound.session->snapshot(patience);
        watching()->noteProgress(snapshot);
        publish([&](RunState& state) { state.snapshot = snapshot; });
        if (snapshot.phase == Snapshot::Phase::ended) return;
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, pause, [this] { return quits_; });
    }
}

void LiveRun::end(Bound& run) {
    Report report = run.bound.session->wait();
    report.procedure = arguments_.procedure;
    printEnd(run.bound.procedure, report, arguments_.quiet, run.bound.advice, false);
    run.reportFile->write(report, library_);
    std::vector<Diagnostic> diagnostics = diagnose(run.bound.procedure, report, run.bound.advice);
    std::string text = render(run.diagnostics, run.procedure.source) + render(diagnostics, run.procedure.source);
    for (const std::string& note : report.notes) text += "note: " + note + "\n";
    const std::lock_guard lock(mutex_);
    auto state = std::make_shared<RunState>(*state_);
    state->phase = Phase::ended;
    state->status = nameOf(report.status);
    state->text = std::move(text);
    state_ = std::move(state);
    exitStatus_ = cli::exitStatus(report, arguments_);
    session_ = nullptr;
}

}  // namespace cli
