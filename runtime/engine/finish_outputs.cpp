#include "runtime/engine/finish_outputs.h"

#include <cstring>
#include <type_traits>

#include "runtime/files/output_file.h"
#include "runtime/files/stream_wait.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

struct FinishedOutput {
    OutputReport report;
    Output* output;
    std::string lost;  // why what was written could not be completed
};

void addLast(OutputReport& report, ElementType type, const std::vector<std::byte>& frame) {
    withElementType(type, [&]<class Element>() {
        for (std::size_t at = 0; at < frame.size(); at += sizeof(Element)) {
            Element value;
            std::memcpy(&value, frame.data() + at, sizeof value);
            if constexpr (std::is_integral_v<Element>)
                report.last.emplace_back(std::int64_t{value});
            else
                report.last.emplace_back(value);
        }
    });
}

void addLast(OutputReport& report, const PipeOutput& output) {
    addLast(report, output.port.channel->type, output.last.bytes());
}

void addLast(OutputReport& report, const TriggerOutput& output) {
    if (output.count > 0) report.last.emplace_back(std::int64_t{output.last});
}

void addLast(OutputReport& report, const FrameOutput& output) {
    for (const FrameOutput::Member& member : output.members)
        addLast(report, member.port.channel->type, member.last.bytes());
}

class OutputFinisher {
 public:
    explicit OutputFinisher(Engine& e) : e_(e) {
        e.graph.forEachOutput([&](auto& output) {
            if (output.sink != nullptr) add(output);
        });
    }

    void finish() {
        writeFinalStatus();
        for (FinishedOutput& each : outputs_) complete(each);
        if (e_.status() == Report::Status::failed)
            keepAll();
        else
            publishAll();
        for (FinishedOutput& each : outputs_) e_.outcome.outputReports.push_back(std::move(each.report));
    }

 private:
    template <class EngineOutput>
    void add(EngineOutput& output) {
        FinishedOutput& added = outputs_.emplace_back();
        added.output = output.sink.get();
        added.report.channel = channelName(output);
        added.report.count = output.count;
        added.report.unit = unitOf(output);
        addLast(added.report, output);
        if constexpr (std::is_same_v<EngineOutput, PipeOutput>)
            added.report.channels = static_cast<std::uint64_t>(output.sink->channels());
    }

    static OutputReport::Unit unitOf(const PipeOutput&) { return OutputReport::Unit::samples; }
    static OutputReport::Unit unitOf(const TriggerOutput&) { return OutputReport::Unit::events; }
    static OutputReport::Unit unitOf(const FrameOutput& output) {
        return output.isTable ? OutputReport::Unit::rows : OutputReport::Unit::frames;
    }

    void fail(const Problem& problem) { e_.outcome.failLate(problem.what(), problem.remedy()); }

    void writeFinalStatus() {
        for (TriggerOutput& output : e_.graph.triggerOutputs) {
            if (output.sink == nullptr) continue;
            try {
                output.sink->write({.asserts = false, .position = output.port.channel->status});
            } catch (const Problem& problem) {
                fail(problem);
            }
        }
    }

    // Of a run that failed only files are finished, under another name.
    void complete(FinishedOutput& each) {
        if (e_.outcome.end == RunEnd::failed && each.output->file() == nullptr) return;
        try {
            each.output->complete();
        } catch (const Interrupted&) {
            // Said below.
        } catch (const Problem& problem) {
            fail(problem);
            each.lost = problem.what();
        }
        noteStream(each);
    }

    void noteStream(const FinishedOutput& each) {
        const OutputFile* file = each.output->file();
        if (file == nullptr) return;
        for (std::string& note : file->notes()) e_.outcome.outputNotes.push_back(std::move(note));
        if (file->isAbandoned())
            e_.outcome.outputNotes.push_back("the end of `" + each.report.channel + "` is lost: " + file->name() +
                                             " took no more of it when the run was stopped");
    }

    void publishAll() {
        std::vector<std::string> reasons, remedies;
        for (FinishedOutput& each : outputs_) {
            if (each.output->file() == nullptr) continue;
            try {
                each.report.file = each.output->file()->publish();
                noteEarlierFailure(*each.output->file());
            } catch (const Problem& problem) {
                reasons.push_back(problem.what());
            }
        }
        if (reasons.empty()) return;
        e_.outcome.end = RunEnd::failed;
        e_.outcome.reason = joined(reasons, "; ", "; ");
        std::vector<std::string> standing;
        for (const FinishedOutput& each : outputs_)
            if (!each.report.file.empty()) standing.push_back(each.report.file);
        e_.outcome.remedy = standing.empty()
                                ? "no output has its new content"
                                : joined(standing, ", ") + (standing.size() == 1 ? " has its" : " have their") +
                                      " new content, the others not";
        keepAll();
    }

    // Gives other names to what has none yet.
    void keepAll() {
        for (FinishedOutput& each : outputs_)
            if (OutputFile* file = each.output->file();
                file != nullptr && each.report.file.empty() && !file->isStream())
                keep(each, *file);
    }

    void keep(FinishedOutput& each, OutputFile& file) {
        const std::string what = "what the failed run wrote of `" + each.report.channel + "` ";
        const bool replaces = file.hasFailedFile();
        std::string reason = each.lost;
        try {
            if (reason.empty()) {
                e_.outcome.outputNotes.push_back(what + "is in " + file.publish(true) +
                                                 (replaces ? ", in place of what an earlier one wrote" : "") +
                                                 (file.replaces() ? "; " + file.name() + " is as it was" : ""));
                return;
            }
        } catch (const Problem& problem) {
            reason = problem.what();
        }
        e_.outcome.outputNotes.push_back(what + "is lost: " + reason);
    }

    void noteEarlierFailure(const OutputFile& file) {
        if (file.hasFailedFile())
            e_.outcome.outputNotes.push_back(file.failedName() + " is of an earlier run, which failed");
    }

    Engine& e_;
    std::vector<FinishedOutput> outputs_;
};

}  // namespace

void finishOutputs(Engine& e) {
    if (!e.setUpDone || e.outcome.end == RunEnd::refused || e.outcome.end == RunEnd::checkedOnly) return;
    OutputFinisher(e).finish();
    e.outcome.outputsFinished = e.outcome.end != RunEnd::failed;
}

}  // namespace libzepl
