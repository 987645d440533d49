// Files of several pipes: CSV with a column for each, or one type interleaved, in any of the other formats.

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "runtime/diagnostics.h"
#include "runtime/files/csv_cells.h"
#include "runtime/files/formats.h"
#include "runtime/files/input_file.h"
#include "runtime/files/output_file.h"

namespace libzepl {

namespace {

double countAt(const Counting& counting, std::uint64_t frame) {
    return static_cast<double>(frame) * counting.step / counting.rate;
}

std::vector<std::string> headingsOf(const std::vector<ColumnRequest>& columns) {
    std::vector<std::string> headings;
    for (const ColumnRequest& column : columns) {
        if (column.channels == 1) headings.push_back(column.heading);
        for (int i = 1; column.channels > 1 && i <= column.channels; ++i)
            headings.push_back(column.heading + "[" + std::to_string(i) + "]");
    }
    return headings;
}

// Rows of text.
class CsvTableSink final : public FileSink<JointSink> {
 public:
    CsvTableSink(const WriteRequest& request, const std::vector<ColumnRequest>& columns)
        : FileSink(request.path, request.output) {
        const std::vector<std::string> headings = headingsOf(columns);
        writeHeading(headings);
        row_.resize(headings.size() * cellRoom);
        for (const ColumnRequest& column : columns) {
            Column& added = columns_.emplace_back();
            added.counting = column.counting;
            added.channels = static_cast<std::size_t>(column.channels);
            withElementType(column.type, [&]<class T>() { added.writeElement = writeElement<T>; });
        }
    }

    void write(const void* const* pipes, std::size_t frames) override {
        for (std::size_t frame = 0; frame < frames; ++frame, ++written_) {
            char* end = row_.data();
            const void* const* pipe = pipes;
            for (const Column& column : columns_) {
                if (column.counting) {
                    end = writeCount(*column.counting, end);
                    continue;
                }
                for (std::size_t i = 0; i < column.channels; ++i)
                    end = column.writeElement(*pipe, frame * column.channels + i, end);
                ++pipe;
            }
            end[-1] = '\n';
            file_.write(row_.data(), static_cast<std::size_t>(end - row_.data()));
        }
    }

 private:
    static constexpr std::size_t cellRoom = 32;  // a number and its comma
    struct Column {
        char* (*writeElement)(const void* elements, std::size_t index, char* to) = nullptr;
        std::size_t channels = 1;
        std::optional<Counting> counting{};
    };

    // Names that are numbers, such as `inf`, would be read back as such.
    void writeHeading(const std::vector<std::string>& headings) {
        bool isHeading = false;
        std::string line;
        for (const std::string& heading : headings) {
            isHeading |= !isNumber(heading);
            line += (line.empty() ? "" : ",") + heading;
        }
        if (isHeading) file_.write(line + "\n");
    }

    template <class T>
    static char* writeElement(const void* elements, std::size_t index, char* to) {
        char* const end = writeCell(static_cast<const T*>(elements)[index], to);
        *end = ',';
        return end + 1;
    }

    char* writeCount(const Counting& counting, char* to) const {
        const double count = countAt(counting, written_);
        constexpr double maxWhole = 9007199254740992.0;
        if (count > maxWhole || count != std::floor(count)) return writeElement<double>(&count, 0, to);
        const auto whole = static_cast<std::int64_t>(count);
        char* const end = std::to_chars(to, to + cellRoom - 1, whole).ptr;
        *end = ',';
        return end + 1;
    }

    std::vector<Column> columns_;
    std::vector<char> row_;
    std::uint64_t written_ = 0;
};

// Elements of one type, frame by frame.
class InterleavingSink final : public JointSink {
 public:
    InterleavingSink(std::unique_ptr<Sink> sink, ElementType type, std::vector<ColumnRequest> columns)
        : sink_(std::move(sink)), type_(type), columns_(std::move(columns)) {}

    void write(const void* const* pipes, std::size_t frames) override {
        withElementType(type_, [&]<class T>() { writeFrames<T>(pipes, frames); });
        written_ += frames;
    }
    void complete() override { sink_->complete(); }
    void finish() override { sink_->finish(); }
    OutputFile* file() override { return sink_->file(); }

 private:
    template <class T>
    void writeFrames(const void* const* pipes, std::size_t frames) {
        const auto channels = static_cast<std::size_t>(sink_->channels());
        elements_.resize(frames * channels * sizeof(T));
        T* to = reinterpret_cast<T*>(elements_.data());
        for (const ColumnRequest& column : columns_) {
            if (column.counting) {
                for (std::size_t n = 0; n < frames; ++n)
                    to[n * channels] = static_cast<T>(countAt(*column.counting, written_ + n));
                ++to;
                continue;
            }
            const T* const from = static_cast<const T*>(*pipes++);
            const auto width = static_cast<std::size_t>(column.channels);
            for (std::size_t i = 0; i < width; ++i, ++to)
                for (std::size_t n = 0; n < frames; ++n) to[n * channels] = from[n * width + i];
        }
        sink_->write(elements_.data(), frames * channels);
    }

    std::unique_ptr<Sink> sink_;
    ElementType type_;
    std::vector<ColumnRequest> columns_;
    std::vector<std::byte> elements_;
    std::uint64_t written_ = 0;  // frames
};

void checkOneType(const WriteRequest& request, const std::vector<ColumnRequest>& columns) {
    const ColumnRequest& first = columns.front();
    for (const ColumnRequest& column : columns)
        if (column.type != first.type)
            throw fileProblem(request.path.string(),
                              "holds one type, and " + libzepl::quoted(first.heading) + " is " +
                                  std::string(nameOf(first.type)) + ", " + libzepl::quoted(column.heading) + " " +
                                  std::string(nameOf(column.type)),
                              "write CSV, by .csv or `format csv`, where each column has its own type");
}

// As one stream of all columns.
WriteRequest interleaved(WriteRequest request, const std::vector<ColumnRequest>& columns) {
    checkOneType(request, columns);
    std::int64_t channels = 0;
    for (const ColumnRequest& column : columns) channels += column.channels;
    request.type = columns.front().type;
    request.channels = static_cast<int>(std::min<std::int64_t>(channels, std::numeric_limits<int>::max()));
    if (request.limit && __builtin_mul_overflow(*request.limit, static_cast<std::uint64_t>(channels), &*request.limit))
        request.limit = std::numeric_limits<std::uint64_t>::max();
    return request;
}

}  // namespace

std::unique_ptr<JointSink> createJointSink(WriteRequest request, const std::vector<ColumnRequest>& columns) {
    request = withFormat(std::move(request));
    if (kindOf(request.path, request.format) == FileKind::csv) return std::make_unique<CsvTableSink>(request, columns);
    request = interleaved(std::move(request), columns);
    return std::make_unique<InterleavingSink>(createSink(request), request.type, columns);
}

}  // namespace libzepl
