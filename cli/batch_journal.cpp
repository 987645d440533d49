// What --resume goes by.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "cli/batch_frames.h"
#include "cli/batch_table.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using libzepl::Problem;

constexpr char journalEntry = 'R';

// Tells a file from what it was before: its size and when it was changed.
std::string stampOf(const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) return "-";
    return std::to_string(status.st_size) + ":" + std::to_string(status.st_mtim.tv_sec) + "." +
           std::to_string(status.st_mtim.tv_nsec);
}

std::string keyOf(const BatchRecording& recording) { return packed(recording.inputs); }

[[noreturn]] void refuse(const std::string& name) {
    throw Problem(name + ": cannot be written: " + std::generic_category().message(errno),
                  "--resume goes by it: make room, or name another table");
}

}  // namespace

BatchJournal::BatchJournal(const BatchPlan& plan, const std::string& setup)
    : plan_(plan), setup_(hexOf(digestOf(setup))) {
    const std::filesystem::path folder = std::filesystem::path(plan.journal).parent_path();
    std::error_code error;
    if (!folder.empty()) std::filesystem::create_directories(folder, error);
    descriptor_ = ::open(plan.journal.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor_ < 0) refuse(plan.journal);
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
    ::close(descriptor_);
    throw Problem("another batch is writing " + libzepl::quoted(plan.table), "wait for it, or name another table");
}

// One that nothing is in is of no use.
BatchJournal::~BatchJournal() {
    struct stat status {};
    if (::fstat(descriptor_, &status) == 0 && status.st_size == 0) ::unlink(plan_.journal.c_str());
    ::close(descriptor_);
}

std::string BatchJournal::sourceOf(std::size_t recording) const {
    const BatchRecording& files = plan_.recordings[recording];
    std::vector<std::string> parts{setup_};
    for (const std::string& file : files.inputs) parts.push_back(stampOf(file));
    parts.insert(parts.end(), files.outputs.begin(), files.outputs.end());
    return hexOf(digestOf(packed(parts)));
}

std::string BatchJournal::outputsOf(std::size_t recording) const {
    std::string stamps;
    for (const std::string& file : plan_.recordings[recording].outputs) stamps += stampOf(file) + " ";
    return stamps;
}

// What follows the last whole entry, as a batch leaves it that was killed, is cut off.
std::map<std::size_t, BatchRow> BatchJournal::unchanged() {
    FrameReader reader;
    std::map<std::string, std::vector<std::string>> entries;  // the latest of each recording
    ::lseek(descriptor_, 0, SEEK_SET);
    do
        while (const std::optional<Frame> frame = reader.next())
            if (auto parts = unpacked(frame->content); frame->kind == journalEntry && parts && parts->size() == 4)
                entries[(*parts)[0]] = std::move(*parts);
    while (reader.readFrom(descriptor_));
    if (::ftruncate(descriptor_, static_cast<off_t>(reader.taken())) != 0) refuse(plan_.journal);
    std::map<std::size_t, BatchRow> rows;
    for (std::size_t i = 0; i < plan_.recordings.size(); ++i) {
        const auto entry = entries.find(keyOf(plan_.recordings[i]));
        if (entry == entries.end() || entry->second[1] != sourceOf(i) || entry->second[2] != outputsOf(i)) continue;
        if (std::optional<BatchRow> row = unpackedRow(entry->second[3]); row && row->isGood())
            rows.emplace(i, std::move(*row));
    }
    return rows;
}

void BatchJournal::clear() {
    if (::ftruncate(descriptor_, 0) != 0) refuse(plan_.journal);
}

void BatchJournal::noteBegin(std::size_t recording) { sources_[recording] = sourceOf(recording); }

void BatchJournal::add(std::size_t recording, const BatchRow& row) {
    const std::string source = std::move(sources_[recording]);
    sources_.erase(recording);
    if (!row.isGood()) return;
    const std::string entry =
        packed({keyOf(plan_.recordings[recording]), source, outputsOf(recording), packedRow(row)});
    if (!writeFrame(descriptor_, journalEntry, entry)) refuse(plan_.journal);
}

std::string setupOf(const BatchPlan& plan, const BatchArguments& arguments, const std::string& modules) {
    const RunArguments& run = arguments.run;
    std::vector<std::string> parts{libzepl::versionText(libzepl::hostBuildVersion),
                                   modules,
                                   plan.procedure.source.text,
                                   run.feed,
                                   run.memory,
                                   std::to_string(run.block),
                                   std::to_string(run.startTime),
                                   std::to_string(run.patience),
                                   packed(run.in),
                                   packed(run.set),
                                   packed(run.info),
                                   packed(plan.inputs),
                                   packed(plan.outputs),
                                   packed({plan.options.discarded.begin(), plan.options.discarded.end()})};
    for (const std::string& file : sharedFiles(plan)) {
        parts.push_back(file);
        parts.push_back(stampOf(file));
    }
    return packed(parts);
}

}  // namespace cli
