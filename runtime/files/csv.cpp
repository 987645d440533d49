// CSV: numbers in columns, separated by commas, with an optional heading line.

#include <algorithm>
#include <array>
#include <exception>
#include <numeric>

#include "runtime/diagnostics.h"
#include "runtime/files/convert.h"
#include "runtime/files/csv_cells.h"
#include "runtime/files/formats.h"
#include "runtime/files/input_file.h"
#include "runtime/files/output_file.h"
#include "runtime/files/recording.h"

namespace libzepl {

namespace {

// The lines of a CSV file that hold numbers, cell by cell. The heading line is taken at the start.
class CsvTable {
 public:
    explicit CsvTable(const ReadRequest& request)
        : lines_(request.path, request.descriptor), complete_(lines_.name(), request.partial) {
        if (!readRow()) return;
        columns_ = cells_.size();
        if (isHeading())
            for (std::size_t i = 0; i < columns_; ++i) headings_.emplace_back(cells_[i]);
        else
            held_ = true;
    }

    // The next row of numbers, blank lines left out; false at the end.
    bool next() {
        if (!held_ && !readRow()) return false;
        held_ = false;
        if (cells_.size() != columns_ && leavesOut()) return false;
        if (cells_.size() != columns_)
            throw lines_.problem("the line has " + counted(cells_.size(), "cell") + ", and the first line has " +
                                     std::to_string(columns_),
                                 "give every line the same number of cells");
        return true;
    }

    // Whether next() would not wait for a stream, but for the rest of a line.
    bool ready() const { return held_ || lines_.ready(); }
    const CsvCells& cells() const { return cells_; }
    std::size_t columns() const { return columns_; }
    const std::vector<std::string>& headings() const { return headings_; }
    const LineReader& lines() const { return lines_; }
    const std::vector<std::string>& notes() const { return complete_.notes(); }
    // Whether the line may be left out since it was cut: it is the last one, has no line ending, and what is there is wanted.
    bool leavesOut() {
        if (!complete_.partial() || !lines_.atOpenEnd()) return false;
        complete_.lacks("its last line, " + std::to_string(lines_.lineNumber()) + ", is cut");
        return true;
    }

 private:
    bool readRow() {
        for (;;) {
            const auto line = lines_.next();
            if (!line) return false;
            if (withoutSpaces(*line).empty()) continue;
            line_ = *line;
            const bool splits = cells_.split(line_);
            if (!splits && leavesOut()) return false;
            if (!splits)
                throw lines_.problem("a quoted cell does not end",
                                     "close the quotes before the comma or the line's end");
            return true;
        }
    }

    // A word makes a heading. An empty cell, or one that starts like a number, makes none, so that a gap or a broken number in
    // the first line of numbers is found.
    bool isHeading() const {
        for (std::size_t i = 0; i < columns_; ++i) {
            if (cells_[i].empty() || isNumber(cells_[i])) continue;
            if (cells_.isQuoted(i) || !startsLikeNumber(cells_[i])) return true;
        }
        return false;
    }

    LineReader lines_;
    Completeness complete_;
    std::string_view line_;
    CsvCells cells_;
    bool held_ = false;  // the row in cells_ is still to be given
    std::size_t columns_ = 0;
    std::vector<std::string> headings_;
};

std::size_t columnNumbered(const CsvTable& table, std::int64_t number) {
    if (number >= 1 && static_cast<std::uint64_t>(number) <= table.columns())
        return static_cast<std::size_t>(number - 1);
    const std::string there = table.columns() == 0 ? "the file is empty"
                              : table.columns() == 1
                                  ? "the file has one column"
                                  : "the file has the columns 1 to " + std::to_string(table.columns());
    throw fileProblem(table.lines().name(), "there is no column " + std::to_string(number), there);
}

std::size_t columnHeaded(const CsvTable& table, const std::string& heading) {
    const std::vector<std::string>& headings = table.headings();
    const auto found = std::find(headings.begin(), headings.end(), heading);
    const std::string& name = table.lines().name();
    if (headings.empty()) throw fileProblem(name, "it has no heading line", "choose a column by its number");
    if (found == headings.end()) {
        std::string all;
        for (const std::string& each : headings) all += (all.empty() ? "" : ", ") + libzepl::quoted(each);
        const std::string near = suggestion(heading, headings);
        throw fileProblem(name, "there is no column " + libzepl::quoted(heading),
                          near.empty() ? "the columns are " + all : near);
    }
    if (std::find(found + 1, headings.end(), heading) != headings.end())
        throw fileProblem(name, "more than one column is headed " + libzepl::quoted(heading),
                          "choose a column by its number");
    return static_cast<std::size_t>(found - headings.begin());
}

// The indexes of the columns that the request wants.
std::vector<std::size_t> wantedColumns(const CsvTable& table, const ReadRequest& request) {
    if (request.channel && request.column)
        throw fileProblem(table.lines().name(), "both a channel and a column are chosen", "choose one of them");
    if (table.columns() > 0)
        checkElements(table.lines().name(), static_cast<std::int64_t>(table.columns()), request, "column");
    if (request.channel) return {columnNumbered(table, *request.channel)};
    if (request.column)
        return {std::visit(
            [&]<class Column>(const Column& column) {
                if constexpr (std::is_same_v<Column, std::string>)
                    return columnHeaded(table, column);
                else
                    return columnNumbered(table, column);
            },
            *request.column)};
    if (table.columns() > 0)
        checkInterleaving(table.lines().name(), static_cast<std::int64_t>(table.columns()), request, "column");
    std::vector<std::size_t> all(table.columns());
    std::iota(all.begin(), all.end(), std::size_t{0});
    return all;
}

std::string rangeOf(ElementType type) {
    return withElementType(type, [&]<class T>() {
        const std::string name = "the range of `" + std::string(nameOf(type)) + "`";
        if constexpr (!std::is_integral_v<T>) return name;
        return name + ", " + std::to_string(std::numeric_limits<T>::min()) + " to " +
               std::to_string(std::numeric_limits<T>::max());
    });
}

std::string rangeRemedy(ElementType type) {
    if (type == ElementType::float64) return "correct the cell";
    if (type == ElementType::float32) return "declare `double`";
    return "declare a wider type, or ask for `convert rounded`";
}

template <class T>
class CsvSource final : public Source, public ColumnHeadings {
 public:
    explicit CsvSource(const ReadRequest& request)
        : table_(request),
          type_(request.type),
          conversion_(conversionOf(request)),
          columns_(wantedColumns(table_, request)),
          next_(columns_.size()) {}

    std::size_t read(void* to, std::size_t count) override {
        if (mistake_ != nullptr) std::rethrow_exception(mistake_);
        T* const elements = static_cast<T*>(to);
        std::size_t done = 0, rows = 0;  // `rows`: the elements of whole rows among them
        try {
            for (; done < count; ++done) {
                if (next_ == columns_.size()) {
                    rows = done;
                    if (done > 0 && !ready()) return done;
                    if (!table_.next()) return done;
                    next_ = 0;
                }
                elements[done] = element(columns_[next_++]);
            }
        } catch (const Problem&) {
            // What comes before the mistake is given first.
            if (rows == 0) throw;
            mistake_ = std::current_exception();
            return rows;
        }
        return count;
    }
    bool ready() const override { return mistake_ != nullptr || next_ < columns_.size() || table_.ready(); }
    int descriptor() const override { return table_.lines().waitDescriptor(); }
    std::optional<std::uint64_t> length() const override { return std::nullopt; }
    int channels() const override { return columns_.empty() ? 1 : static_cast<int>(columns_.size()); }
    std::optional<double> rate() const override { return std::nullopt; }
    std::vector<std::string> notes() const override { return table_.notes(); }
    const std::vector<std::string>& headings() const override { return table_.headings(); }

 private:
    T element(std::size_t column) const {
        if (conversion_ != Conversion::none) return convertedElement(column);
        T number{};
        const CellFault fault = parseCell(table_.cells()[column], number);
        if (fault != CellFault::none) throwFault(fault, column, type_);
        return number;
    }

    // Numbers of a CSV file have no full scale of their own: scaled takes them as lying between -1 and 1.
    T convertedElement(std::size_t column) const {
        double number = 0;
        const CellFault fault = parseCell(table_.cells()[column], number);
        if (fault != CellFault::none) throwFault(fault, column, ElementType::float64);
        if (std::is_integral_v<T> && std::isnan(number)) throwFault(CellFault::noInteger, column, type_);
        T element{};
        withConversion<T>(conversion_, SampleFormat{SampleFormat::Kind::real, 64}, number,
                          [&](auto converted) { element = converted(number); });
        return element;
    }

    [[noreturn]] void throwFault(CellFault fault, std::size_t column, ElementType type) const {
        const std::string where = "in column " + std::to_string(column + 1);
        const std::string cell = libzepl::quoted(table_.cells()[column]) + " " + where + " is ";
        const LineReader& lines = table_.lines();
        switch (fault) {
            case CellFault::empty:
                throw lines.problem("the cell " + where + " is empty", "fill it, or take out the line");
            case CellFault::noInteger:
                throw lines.problem(cell + "no integer",
                                    std::string("declare `float` or `double`") +
                                        (conversion_ == Conversion::none ? ", or ask for `convert rounded`" : ""));
            case CellFault::outOfRange:
                throw lines.problem(cell + "outside " + rangeOf(type), rangeRemedy(type));
            default:
                throw lines.problem(cell + "no number", "correct the cell, or choose another column with `column K`");
        }
    }

    CsvTable table_;
    ElementType type_;
    Conversion conversion_;
    std::vector<std::size_t> columns_;
    std::size_t next_;            // index into columns_
    std::exception_ptr mistake_;  // after what was given
};

class CsvSink final : public FileSink<Sink> {
 public:
    explicit CsvSink(const WriteRequest& request)
        : FileSink(request.path, request.output),
          type_(request.type),
          columns_(static_cast<std::size_t>(request.channels)) {
        writeHeading(request.name);
    }
    // Whole rows.
    void write(const void* from, std::size_t count) override {
        withElementType(type_, [&]<class T>() {
            const T* const numbers = static_cast<const T*>(from);
            for (std::size_t i = 0; i < count; ++i) writeNumber(numbers[i], (i + 1) % columns_ == 0 ? '\n' : ',');
        });
    }

 private:
    void writeHeading(const std::string& name) {
        if (name.empty()) return;
        if (columns_ > 1) {
            for (std::size_t i = 1; i <= columns_; ++i)
                file_.write(name + "[" + std::to_string(i) + (i < columns_ ? "]," : "]\n"));
        } else if (!isNumber(name)) {
            // A name such as `inf` would be read back as a number.
            file_.write(name + "\n");
        }
    }

    template <class T>
    void writeNumber(T number, char after) {
        std::array<char, 32> text;
        char* const end = writeCell(number, text.data());
        *end = after;
        file_.write(text.data(), static_cast<std::size_t>(end + 1 - text.data()));
    }

    ElementType type_;
    std::size_t columns_;
};

}  // namespace

std::unique_ptr<Source> openCsv(const ReadRequest& request) {
    return withElementType(
        request.type, [&]<class T>() -> std::unique_ptr<Source> { return std::make_unique<CsvSource<T>>(request); });
}

std::unique_ptr<Sink> createCsv(const WriteRequest& request) { return std::make_unique<CsvSink>(request); }

}  // namespace libzepl
