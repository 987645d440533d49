#include "cli/batch_plan.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

#include "cli/batch_claims.h"
#include "cli/batch_patterns.h"
#include "cli/batch_recordings.h"
#include "cli/option_values.h"
#include "runtime/binder.h"
#include "runtime/output_files.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using namespace libzepl;

bool isStreamed(const std::string& path) { return isStandardStream(path) || isAddress(path) || isStream(path); }

std::string arrayOf(const std::string& name) { return name.substr(0, name.find('[')); }

class Planner {
 public:
    Planner(const BatchArguments& arguments, BatchPlan& plan, std::vector<Diagnostic>& diagnostics)
        : arguments_(arguments), plan_(plan), diagnostics_(diagnostics) {}

    void make() {
        guarded([&] { takeInputs(); });
        guarded([&] { takeTable(); });
        takeOutputs();
        refuseStreams();
        if (hasErrors(diagnostics_)) return;
        matchInputs();
        if (hasErrors(diagnostics_)) return;
        dropRepeated();
        guarded([&] { nameOutputs(); });
        if (!hasErrors(diagnostics_)) claimFiles();
    }

 private:
    void refuse(const std::string& message, const std::string& remedy, Place place = {}) {
        diagnostics_.push_back({Severity::error, place, message, remedy});
    }

    template <class Step>
    void guarded(Step step) {
        try {
            step();
        } catch (const Problem& problem) {
            refuse(problem.what(), problem.remedy());
        }
    }

    std::vector<std::string> channels() const {
        std::vector<std::string> names;
        for (const PipeDeclaration& pipe : plan_.procedure.pipes) names.push_back(pipe.name);
        for (const TriggerDeclaration& trigger : plan_.procedure.triggers) names.push_back(trigger.name);
        return names;
    }

    std::vector<std::string> writables() const {
        std::vector<std::string> names = channels();
        for (const TableDeclaration& table : plan_.procedure.tables) names.push_back(table.to.path);
        return names;
    }

    // False, with the mistake reported, where the procedure declares no such name.
    bool isDeclared(const std::string& option, const std::string& name, const std::vector<std::string>& known) {
        const auto has = [&](const std::string& each) {
            return std::find(known.begin(), known.end(), each) != known.end();
        };
        if (has(name) || has(arrayOf(name))) return true;
        const std::string near = suggestion(name, known);
        refuse(option + " " + name + ": the procedure declares no pipe or trigger " + libzepl::quoted(name),
               near.empty() ? known.empty() ? "it declares none" : "it declares " + joined(known, " and ") : near);
        return false;
    }

    void takeInputs() {
        const std::vector<std::string> known = channels();
        each_ = eachInputs(arguments_.each, known);
        for (const EachInput& input : each_) {
            if (!isDeclared("--each", input.name, known)) continue;
            if (plan_.options.inputs.contains(input.name))
                refuse("--each " + input.name + ": --in names a file for it as well", "leave one of the two out");
            plan_.inputs.push_back(input.name);
        }
    }

    void takeTable() {
        plan_.table = arguments_.table;
        if (isStreamed(plan_.table))
            throw Problem("--table " + plan_.table + " is no file, and rows that are sorted at the end need one",
                          "name a file that ends in .csv");
        plan_.journal = withSuffix(plan_.table, ".batch").string();
    }

    // Each output of the procedure has a pattern, or is discarded.
    void takeOutputs() {
        const std::vector<std::string> known = writables();
        for (const auto& [name, pattern] : plan_.options.outputs) {
            if (!isDeclared("--out", name, known)) continue;
            patternTexts_.push_back(pattern);
            plan_.outputs.push_back(name);
        }
        plan_.options.outputs.clear();
        for (const std::string& name : arguments_.discard) {
            if (!isDeclared("--discard", name, known)) continue;
            if (std::find(plan_.outputs.begin(), plan_.outputs.end(), name) != plan_.outputs.end())
                refuse("--discard " + name + ": --out names a file for it", "leave one of the two out");
            plan_.options.discarded.insert(name);
        }
        for (const PipeDeclaration& pipe : plan_.procedure.pipes)
            if (pipe.to) requireFile(pipe.name, *pipe.to);
        for (const TriggerDeclaration& trigger : plan_.procedure.triggers)
            if (trigger.to) requireFile(trigger.name, *trigger.to);
        for (const TableDeclaration& table : plan_.procedure.tables) requireFile(table.to.path, table.to);
    }

    void requireFile(const std::string& name, const FileClause& to) {
        if (plan_.options.discarded.contains(name)) return;
        if (std::find(plan_.outputs.begin(), plan_.outputs.end(), name) != plan_.outputs.end()) return;
        const std::filesystem::path path(to.path);
        refuse("each recording would write " + libzepl::quoted(to.path) + " again",
               "name a file for each: --out " + name + "=out/{stem}-" + arrayOf(path.stem().string()) +
                   path.extension().string() + "; or have only its count and its last sample in the table: --discard " +
                   name,
               to.place);
    }

    // What all recordings read must not be read up by the first.
    void refuseStreams() {
        const auto check = [&](const std::optional<FileClause>& from, const std::string& name) {
            const auto given = plan_.options.inputs.find(name);
            const bool isEach = std::find(plan_.inputs.begin(), plan_.inputs.end(), name) != plan_.inputs.end();
            if (isEach || (!from && given == plan_.options.inputs.end())) return;
            const std::string path =
                given != plan_.options.inputs.end() ? given->second : pathBeside(plan_.procedure, from->path).string();
            if (isStreamed(path))
                refuse("each recording would read the stream " + libzepl::quoted(path),
                       "name files: --each " + name + "=FILES, or one for all: --in " + name + "=FILE",
                       given != plan_.options.inputs.end() ? Place{} : from->place);
        };
        for (const PipeDeclaration& pipe : plan_.procedure.pipes) check(pipe.from, pipe.name);
        for (const TriggerDeclaration& trigger : plan_.procedure.triggers) check(trigger.from, trigger.name);
        for (const VectorDeclaration& vector : plan_.procedure.vectors) check(vector.from, vector.name);
    }

    // Files of several inputs go together one by one.
    void matchInputs() {
        std::vector<std::vector<std::string>> files;
        for (const EachInput& input : each_) guarded([&] { files.push_back(filesOf(input)); });
        if (hasErrors(diagnostics_)) return;
        for (const EachInput& input : each_)
            for (const std::string& text : input.words)
                if (FileWord word(text); word.isOpen()) openWords_.push_back(std::move(word));
        for (std::size_t i = 1; i < files.size(); ++i)
            if (files[i].size() != files[0].size())
                return refuse("--each " + each_[0].name + " names " + counted(files[0].size(), "file") +
                                  ", and --each " + each_[i].name + " " + std::to_string(files[i].size()),
                              "they go together one by one, in natural order: name as many of each");
        for (std::size_t n = 0; n < files[0].size(); ++n) {
            BatchRecording& recording = plan_.recordings.emplace_back();
            for (const auto& list : files) recording.inputs.push_back(list[n]);
        }
    }

    void dropRepeated() {
        std::map<std::string, std::string> seen;
        std::vector<BatchRecording> kept;
        for (BatchRecording& recording : plan_.recordings) {
            std::string identity;
            for (const std::string& file : recording.inputs) identity += identities_.of(file) + "\n";
            const auto [first, isNew] = seen.emplace(identity, recording.inputs[0]);
            if (!isNew)
                plan_.notes.push_back(recording.inputs[0] +
                                      (first->second == recording.inputs[0] ? " is named twice"
                                                                            : " is the same file as " + first->second) +
                                      ", and is run once");
            else
                kept.push_back(std::move(recording));
        }
        plan_.recordings = std::move(kept);
    }

    std::string optionOf(std::size_t output) const {
        return "--out " + plan_.outputs[output] + "=" + patternTexts_[output];
    }

    void nameOutputs() {
        for (std::size_t i = 0; i < plan_.outputs.size(); ++i) {
            const OutputPattern pattern(optionOf(i), patternTexts_[i], plan_.inputs);
            for (std::size_t n = 0; n < plan_.recordings.size(); ++n)
                plan_.recordings[n].outputs.push_back(pattern.of(plan_.recordings[n].inputs, n));
        }
    }

    // No file is written twice, and none that is read is written.
    void claimFiles() {
        FileClaims claims(identities_);
        for (const BatchRecording& recording : plan_.recordings)
            for (const std::string& file : recording.inputs) claims.noteRead(file, "is a recording");
        for (const std::string& file : sharedFiles(plan_)) claims.noteRead(file, "is read for every recording");
        claims.noteRead(plan_.procedure.source.name, "is the procedure");
        for (const std::string& module : arguments_.run.modules.files) claims.noteRead(module, "is a module");
        claimOne(claims, "--table " + plan_.table, plan_.table, "the table");
        claimOne(claims, "--table " + plan_.table, plan_.journal, "the table");
        for (std::size_t i = 0; i < plan_.outputs.size(); ++i)
            for (const BatchRecording& recording : plan_.recordings)
                if (!claimOne(claims, optionOf(i), recording.outputs[i], recording.inputs[0])) break;
    }

    // False, with the mistake reported, where the file cannot be written for `whose`.
    bool claimOne(FileClaims& claims, const std::string& option, const std::string& file, const std::string& whose) {
        if (isStreamed(file)) {
            refuse(option + ": " + libzepl::quoted(file) + " is a stream, and a batch writes files",
                   "name a file for each recording, such as out/{stem}.wav, or leave it out of the files by --discard");
            return false;
        }
        if (const std::string taken = claims.write(file, whose); !taken.empty()) {
            refuse(
                option + ": " + taken,
                "put {stem} in it, and {parent} or {index} where recordings are called alike; or write to another folder");
            return false;
        }
        for (const FileWord& word : openWords_) {
            if (!word.wouldTake(identities_.placeOf(file))) continue;
            refuse(option + ": the next batch would take " + libzepl::quoted(file) + " for a recording, by " +
                       libzepl::quoted(word.text()),
                   "write to another folder");
            return false;
        }
        return true;
    }

    const BatchArguments& arguments_;
    BatchPlan& plan_;
    std::vector<Diagnostic>& diagnostics_;
    std::vector<EachInput> each_{};
    std::vector<std::string> patternTexts_{};  // of the plan's outputs
    std::vector<FileWord> openWords_{};
    FileIdentities identities_{};
};

}  // namespace

BindOptions BatchPlan::optionsOf(const BatchRecording& recording) const {
    BindOptions all = options;
    for (std::size_t i = 0; i < inputs.size(); ++i) all.inputs[inputs[i]] = recording.inputs[i];
    for (std::size_t i = 0; i < outputs.size(); ++i) all.outputs[outputs[i]] = recording.outputs[i];
    return all;
}

BatchPlan planOf(const BatchArguments& arguments, Procedure procedure, BindOptions options,
                 std::vector<Diagnostic>& diagnostics) {
    BatchPlan plan;
    plan.procedure = std::move(procedure);
    plan.options = std::move(options);
    plan.modules = arguments.run.modules;
    Planner(arguments, plan, diagnostics).make();
    return plan;
}

std::vector<std::string> sharedFiles(const BatchPlan& plan) {
    std::vector<std::string> files;
    const auto add = [&](const std::optional<FileClause>& from, const std::string& name) {
        const bool isEach = std::find(plan.inputs.begin(), plan.inputs.end(), name) != plan.inputs.end();
        if (from && !isEach && !plan.options.inputs.contains(name))
            files.push_back(pathBeside(plan.procedure, from->path).string());
    };
    for (const PipeDeclaration& pipe : plan.procedure.pipes) add(pipe.from, pipe.name);
    for (const TriggerDeclaration& trigger : plan.procedure.triggers) add(trigger.from, trigger.name);
    for (const VectorDeclaration& vector : plan.procedure.vectors) add(vector.from, vector.name);
    for (const auto& [name, file] : plan.options.inputs) files.push_back(file);
    return files;
}

}  // namespace cli
