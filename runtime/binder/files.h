// The files that a procedure and its caller name.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "runtime/addresses.h"
#include "runtime/binder.h"
#include "runtime/procedure.h"

namespace libzepl {

// The file that a channel reads or writes.
struct ChannelFile {
    FileClause clause;  // without a place where the caller named the file
    std::filesystem::path path;
    std::string option;                      // "--in ecg" where the caller named the file, else empty
    const MemorySamples* samples = nullptr;  // in place of the file
};

// The file of a channel: the one that the caller names, relative to the working folder, else the declared one. An element of
// an array of pipes can have one of its own, or its channel of the one that the caller names for the array.
std::optional<ChannelFile> inputFile(const Procedure& procedure, const BindOptions& options,
                                     const PipeDeclaration& pipe);
std::optional<ChannelFile> inputFile(const Procedure& procedure, const BindOptions& options,
                                     const TriggerDeclaration& trigger);
std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options,
                                      const PipeDeclaration& pipe);
std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options,
                                      const TriggerDeclaration& trigger);
std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options,
                                      const TableDeclaration& table);
// The file that takes an array, or one that the caller names for it.
std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options, const JointOutput& joint);

// The frames of the recording that the pipe is read from. Throws Problem where that cannot be known before it is read.
std::uint64_t framesOf(const Procedure& procedure, const BindOptions& options, const PipeDeclaration& pipe);

// "360", "44100.5"
std::string rateText(double rate);

// What is asked of a file by its clauses.
ReadRequest readRequest(const ChannelFile& file, ElementType type, std::optional<std::int64_t> interleaved);
WriteRequest writeRequest(const ChannelFile& file, const PipeDeclaration& pipe, double rate);

// What is asked of an address by its clauses; `rate` is that of the run, as far as it is known.
LiveSettings liveSettings(const ChannelFile& file, const BindOptions& options, std::optional<double> rate);

// The rates that the inputs state, against each other and against the procedure's own.
class InputRates {
 public:
    explicit InputRates(std::optional<double> stated) : stated_(stated) {}
    // Takes the rate of the next input, if it states one; gives a warning where it differs.
    std::optional<Diagnostic> add(const ChannelFile& file, std::optional<double> rate);
    // The run's; nothing where neither the procedure nor an input states one.
    std::optional<double> rate() const { return stated_ ? stated_ : first_; }

 private:
    std::optional<double> stated_;  // by the procedure
    std::optional<double> first_;
    std::string firstName_;
};

// One text for each file, however it is named, also where it is not there yet; empty for a device, a socket or an address,
// which any number can use. "-" is a text of its own.
std::string identityOf(const std::filesystem::path& path);
std::string identityOf(int descriptor);

}  // namespace libzepl
