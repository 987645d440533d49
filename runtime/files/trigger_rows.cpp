// Files of triggers: the heading "event,position", then a row for each assertion and status; a third column "seconds" may
// say when each was.

#include <array>
#include <charconv>

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

// Reads the next line that is not empty, which must have so many columns.
bool nextRow(LineReader& lines, CsvCells& cells, std::size_t columns) {
    for (;;) {
        const auto line = lines.next();
        if (!line) return false;
        if (withoutSpaces(*line).empty()) continue;
        if (cells.split(*line) && cells.size() == columns) return true;
        throw lines.problem(columns == 2 ? "the line is not of the form event,position"
                                         : "the line is not of the form event,position,seconds",
                            columns == 2 ? "give lines such as assert,1024" : "give lines such as assert,1024,1.024");
    }
}

// The heading's columns, two or three.
std::size_t columnsOf(LineReader& lines, CsvCells& cells) {
    std::optional<std::string_view> line = lines.next();
    while (line && withoutSpaces(*line).empty()) line = lines.next();
    if (line && cells.split(*line) && cells.size() >= 2 && cells[0] == "event" && cells[1] == "position") {
        if (cells.size() == 2 || (cells.size() == 3 && cells[2] == "seconds")) return cells.size();
        throw lines.problem("after the heading `" + std::string(heading) + "` only `seconds` can come",
                            "leave the other columns out");
    }
    throw lines.problem("the heading `" + std::string(heading) + "` is missing", "put it on the first line");
}

class CsvTriggerSink final : public FileSink<TriggerSink> {
 public:
    CsvTriggerSink(const std::filesystem::path& path, OutputOptions options, std::optional<double> rate)
        : FileSink(path, options), rate_(rate) {
        file_.write(heading + std::string(rate_ ? ",seconds\n" : "\n"));
    }
    void write(const TriggerRow& row) override {
        file_.write((row.asserts ? "assert," : "status,") + std::to_string(row.position));
        if (rate_) file_.write("," + seconds(row.position));
        file_.write("\n");
    }

 private:
    // Positions are counted on where their 32 bits wrap. The status before sample 0 has no time.
    std::string seconds(std::uint32_t position) {
        position_ += static_cast<std::int32_t>(position - static_cast<std::uint32_t>(position_));
        if (position_ < 0) return {};
        std::array<char, 32> text;
        const double time = static_cast<double>(position_) / *rate_;
        return {text.data(), std::to_chars(text.data(), text.data() + text.size(), time).ptr};
    }

    std::optional<double> rate_;
    std::int64_t position_ = -1;  // of the last row
};

}  // namespace

std::vector<TriggerRow> readTriggerRows(const std::filesystem::path& path, const std::string& format) {
    LineReader lines(csvPath(path, format));
    CsvCells cells;
    const std::size_t columns = columnsOf(lines, cells);
    std::vector<TriggerRow> rows;
    while (nextRow(lines, cells, columns))
        rows.push_back({.asserts = isAssertion(cells, lines), .position = positionOf(cells, lines)});
    return rows;
}

std::unique_ptr<TriggerSink> createTriggerSink(const std::filesystem::path& path, OutputOptions options,
                                               const std::string& format, std::optional<double> secondsRate) {
    return std::make_unique<CsvTriggerSink>(csvPath(path, format), options, secondsRate);
}

}  // namespace libzepl
