// The outputs of a procedure: files of pipes, triggers, arrays and tables.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "runtime/binder/arguments.h"
#include "runtime/binder/files.h"
#include "runtime/binder/tables.h"

namespace libzepl {

// What outputs follow from.
struct OutputContext {
    const Procedure& procedure;
    const BindOptions& options;
    const DeclaredNames& names;
    const InputRates& rates;
    const std::set<std::string>& inputFiles;  // their identities
};

// The arrays that go to a file by their declaration, and then those that the caller names.
std::vector<JointOutput> arrayOutputs(const Procedure& procedure, const BindOptions& options);

// Attaches the outputs when all inputs are known. Every mistake is added to the diagnostics.
class OutputBinder {
 public:
    OutputBinder(const OutputContext& context, BoundProcedure& bound, std::vector<Diagnostic>& diagnostics)
        : context_(context), bound_(bound), session_(*bound.session), diagnostics_(diagnostics) {}

    void add(std::vector<BoundTable>& tables);

 private:
    bool isWritten(const ChannelFile& file) const;
    bool isCollected(const ChannelFile& file, const std::string& name) const;
    bool claim(const std::string& output, const ChannelFile& file);
    bool isDiscarded(const std::string& output) const;
    void refuse(const ChannelFile& file, const std::string& message, std::string remedy);
    template <class Step>
    void guarded(const ChannelFile& file, Step step);
    void addPipe(const PipeDeclaration& pipe, const ChannelFile& to);
    void addTrigger(const TriggerDeclaration& trigger, const ChannelFile& to);
    void addArray(const JointOutput& joint);
    void addTable(BoundTable& table);
    void addJoint(const ChannelFile& to, JointOutputSettings settings, const std::vector<ColumnRequest>& columns,
                  bool countsSeconds);
    CollectedOutput& addCollected(CollectedOutput::Kind kind, const std::string& name, const ChannelFile& to);
    double rateOf(const ChannelFile& to) const;
    OutputOptions outputOptions(const ChannelFile& to, const WriteRequest& request) const;

    OutputContext context_;
    BoundProcedure& bound_;
    Session& session_;
    std::vector<Diagnostic>& diagnostics_;
    std::set<std::string> files_{};  // the identities of those that are written
};

}  // namespace libzepl
