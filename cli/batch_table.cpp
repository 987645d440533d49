#include "cli/batch_table.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "runtime/output_files.h"

namespace cli {

namespace {

using libzepl::Problem;

using Columns = std::vector<std::pair<std::string, std::string>>;

bool addNames(const Columns& columns, std::vector<std::string>& names) {
    bool isNew = false;
    for (const auto& each : columns) {
        if (std::find(names.begin(), names.end(), each.first) != names.end()) continue;
        names.push_back(each.first);
        isNew = true;
    }
    return isNew;
}

void addCells(const Columns& columns, const std::vector<std::string>& names, std::string& line) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        // Nearly always all rows have the same columns.
        auto found = i < columns.size() && columns[i].first == names[i]
                         ? columns.begin() + static_cast<std::ptrdiff_t>(i)
                         : columns.begin();
        found = std::find_if(found, columns.end(), [&](const auto& each) { return each.first == names[i]; });
        line += "," + (found == columns.end() ? std::string() : csvCell(found->second));
    }
}

// A variable's name, unless it is that of another column.
std::string headingOf(const std::string& variable) {
    const bool isTaken = variable == "file" || variable == "status" || variable == "notes" || variable == "seconds";
    return isTaken ? "variable " + variable : variable;
}

}  // namespace

BatchTable::~BatchTable() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void BatchTable::begin(std::map<std::size_t, BatchRow> rows) {
    rows_ = std::move(rows);
    rewrite(false);
}

void BatchTable::finish(bool sync) { rewrite(sync); }

bool BatchTable::addColumns(const BatchRow& row) {
    const bool hasValues = addNames(row.values, values_);
    return addNames(row.counts, counts_) || hasValues;
}

void BatchTable::add(std::size_t recording, BatchRow row) {
    const BatchRow& added = rows_.insert_or_assign(recording, std::move(row)).first->second;
    if (addColumns(added)) return rewrite(false);
    const std::string line = lineOf(recording, added);
    if (::write(descriptor_, line.data(), line.size()) != static_cast<::ssize_t>(line.size()))
        throw Problem(plan_.table + ": cannot be written: " + std::generic_category().message(errno), "make room");
}

// Columns stand in the order of the first recordings that have them, however the rows came.
void BatchTable::rewrite(bool sync) {
    values_.clear();
    counts_.clear();
    for (const auto& [recording, row] : rows_) addColumns(row);
    libzepl::TextFile file(plan_.table, sync);
    file.write(heading());
    for (const auto& [recording, row] : rows_) file.write(lineOf(recording, row));
    file.finish();
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = ::open(plan_.table.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (descriptor_ < 0) throw Problem(plan_.table + ": cannot be written: " + std::generic_category().message(errno));
}

std::string BatchTable::heading() const {
    std::string line = "file";
    for (std::size_t i = 1; i < plan_.inputs.size(); ++i) line += "," + csvCell(plan_.inputs[i] + ".file");
    line += ",status";
    for (const std::string& name : values_) line += "," + csvCell(headingOf(name));
    for (const std::string& name : counts_) line += "," + csvCell(name);
    return line + ",notes,seconds\n";
}

std::string BatchTable::lineOf(std::size_t recording, const BatchRow& row) const {
    std::string line;
    for (const std::string& file : plan_.recordings[recording].inputs) line += csvCell(file) + ",";
    line += row.status;
    addCells(row.values, values_, line);
    addCells(row.counts, counts_, line);
    return line + "," + csvCell(row.notes) + "," + row.seconds + "\n";
}

}  // namespace cli
