// Files of triggers: the heading "event,position", then a row for each assertion and status.

#include "runtime/diagnostics.h"
#include "runtime/files/csv_cells.h"
#include "runtime/files/formats.h"
#include "runtime/files/input_file.h"
#include "runtime/files/output_file.h"

namespace libzepl {

namespace {

constexpr const char* heading = "event,position";

// What the file of a trigger is opened by.
std::filesystem::path csvPath(const std::filesystem::path& path, const std::string& format) {
    const ReadRequest request = withFormat(ReadRequest{.path = path, .format = format});
    if (endingOf(request.path, request.format) != ".csv")
        throw fileProblem(path.string(), "the file of a trigger is CSV",
                          "give a name that ends in .csv, or say `format csv` after it");
    return request.path;
}

bool isAssertion(const CsvCells& cells, const LineReader& lines) {
    if (cells[0] == "assert") return true;
    if (cells[0] == "status") return false;
    const std::string near = suggestion(cells[0], {"assert", "status"});
    throw lines.problem(libzepl::quoted(cells[0]) + " is no event",
                        near.empty() ? "the events are `assert` and `status`" : near);
}

std::uint32_t positionOf(const CsvCells& cells, const LineReader& lines) {
    std::uint32_t position = 0;
    if (parseCell(cells[1], position) != CellFault::none)
        throw lines.problem(libzepl::quoted(cells[1]) + " is no position",
                            "positions are integers from 0 to 4294967295");
    return position;
}

bool nextRow(LineReader& lines, CsvCells& cells) {
    for (;;) {
        const auto line = lines.next();
        if (!line) return false;
        if (withoutSpaces(*line).empty()) continue;
        if (cells.split(*line) && cells.size() == 2) return true;
        throw lines.problem("the line is not of the form event,position", "give lines such as assert,1024");
    }
}

class CsvTriggerSink final : public FileSink<TriggerSink> {
 public:
    CsvTriggerSink(const std::filesystem::path& path, OutputOptions options) : FileSink(path, options) {
        file_.write(heading + std::string("\n"));
    }
    void write(const TriggerRow& row) override {
        file_.write((row.asserts ? "assert," : "status,") + std::to_string(row.position) + "\n");
    }
};

}  // namespace

std::vector<TriggerRow> readTriggerRows(const std::filesystem::path& path, const std::string& format) {
    LineReader lines(csvPath(path, format));
    CsvCells cells;
    if (!nextRow(lines, cells) || cells[0] != "event" || cells[1] != "position")
        throw lines.problem("the heading `" + std::string(heading) + "` is missing", "put it on the first line");
    std::vector<TriggerRow> rows;
    while (nextRow(lines, cells))
        rows.push_back({.asserts = isAssertion(cells, lines), .position = positionOf(cells, lines)});
    return rows;
}

std::unique_ptr<TriggerSink> createTriggerSink(const std::filesystem::path& path, OutputOptions options,
                                               const std::string& format) {
    return std::make_unique<CsvTriggerSink>(csvPath(path, format), options);
}

}  // namespace libzepl
