#include "runtime/capture.h"

#include <bit>
#include <system_error>

#include "runtime/capture/captured_run.h"
#include "runtime/capture/recorder.h"
#include "runtime/capture/sums.h"

namespace libzepl {

Capture::Capture(std::filesystem::path folder) : folder_(std::move(folder)), run_(std::make_unique<CapturedRun>()) {
    std::error_code error;
    if (folder_.empty() || folder_ == "-")
        throw Problem("a capture has several files, and needs a folder for them", "name a new folder");
    if (!std::filesystem::exists(folder_, error)) return;
    if (!std::filesystem::is_directory(folder_, error))
        throw Problem(folder_.string() + ": this is a file, and a capture needs a folder", "name a new folder");
    if (!std::filesystem::is_empty(folder_, error) || error)
        throw Problem(folder_.string() + ": the folder has something in it, which a capture does not replace",
                      "name a new folder, or remove this one first");
}

Capture::~Capture() = default;

void Capture::keepProcedure(const Procedure& procedure, const BindOptions& options, const BoundProcedure& bound) {
    text_ = procedure.source.text;
    run_->hasProcedure = true;
    run_->procedure = procedure.source.name;
    run_->textSum = sumOf(text_->data(), text_->size());
    run_->feedGiven = options.feedGiven;
    run_->values = options.values;
    run_->inputFiles = options.inputs;
    run_->outputFiles = options.outputs;
    run_->lengths = bound.lengths;
    for (const VectorDeclaration& vector : bound.procedure.vectors)
        if (vector.from || options.samples.contains(vector.name))
            run_->vectors.push_back({vector.name, vector.type, {}});
}

void Capture::attach(Session& session) {
    Engine& e = engineOf(session);
    if (recorder_ != nullptr)
        throw Problem("a capture is attached that keeps another session's run", "make a Capture for each session");
    if (e.started) throw Problem("a session is captured that has run", "attach the capture before the run");
    if (e.recorder != nullptr)
        throw Problem("a session is captured that has a capture or a replay already", "attach one of them");
    CapturedRun run = *run_;
    for (const Variable& variable : e.graph.variables)
        run.variables.push_back({variable.name, variable.type, std::bit_cast<std::uint64_t>(variable.cell)});
    recorder_ = std::make_shared<Recorder>(folder_, std::move(run), text_);
    e.recorder = recorder_;
}

std::optional<Problem> Capture::failure() const { return recorder_ == nullptr ? std::nullopt : recorder_->failure(); }

}  // namespace libzepl
