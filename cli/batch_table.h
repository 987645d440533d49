// The table of a batch, and the journal beside it by which a batch is resumed.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cli/batch_plan.h"
#include "cli/batch_row.h"

namespace cli {

// A CSV file with a row for each recording. Rows are added as they come, so that those of a batch that is killed are there,
// and at the end stand in the order of the recordings.
class BatchTable {
 public:
    explicit BatchTable(const BatchPlan& plan) : plan_(plan) {}
    BatchTable(const BatchTable&) = delete;
    BatchTable& operator=(const BatchTable&) = delete;
    ~BatchTable();

    // Replaces an old table by one with these rows.
    void begin(std::map<std::size_t, BatchRow> rows);
    void add(std::size_t recording, BatchRow row);
    // Writes the table anew, in order; on the disk where `sync` is true.
    void finish(bool sync);

    const std::map<std::size_t, BatchRow>& rows() const { return rows_; }
    int descriptor() const { return descriptor_; }

 private:
    void rewrite(bool sync);
    bool addColumns(const BatchRow& row);
    std::string heading() const;
    std::string lineOf(std::size_t recording, const BatchRow& row) const;

    const BatchPlan& plan_;
    std::map<std::size_t, BatchRow> rows_{};
    std::vector<std::string> values_{}, counts_{};  // columns, in the order of the first rows that have them
    int descriptor_ = -1;                           // to add rows by
};

// Keeps what is done: each row with what it came from, so that a recording is run again where anything of that has changed.
class BatchJournal {
 public:
    // Makes its folder. A Problem where another batch writes it. `setup` stands for what all recordings depend on.
    BatchJournal(const BatchPlan& plan, const std::string& setup);
    BatchJournal(const BatchJournal&) = delete;
    BatchJournal& operator=(const BatchJournal&) = delete;
    ~BatchJournal();

    // The rows of recordings that went well, as far as nothing has changed since.
    std::map<std::size_t, BatchRow> unchanged();
    void clear();  // forgets all
    // To be called before the recording is run.
    void noteBegin(std::size_t recording);
    void add(std::size_t recording, const BatchRow& row);

    int descriptor() const { return descriptor_; }

 private:
    std::string sourceOf(std::size_t recording) const;
    std::string outputsOf(std::size_t recording) const;

    const BatchPlan& plan_;
    std::string setup_;
    std::map<std::size_t, std::string> sources_{};
    int descriptor_ = -1;
};

// A text for all that the result of any recording depends on, but for the recording: the procedure, options, what all read, and
// the modules.
std::string setupOf(const BatchPlan& plan, const BatchArguments& arguments, const std::string& modules);

}  // namespace cli
