#include "cli/plot/plotted_file.h"

#include <algorithm>
#include <charconv>

#include "runtime/diagnostics.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using namespace libzepl;

// Samples of another type as double.
class WidenedSource final : public Source {
 public:
    WidenedSource(std::unique_ptr<Source> source, ElementType type) : source_(std::move(source)), type_(type) {}
    std::size_t read(void* to, std::size_t count) override {
        bytes_.resize(count * widthOf(type_));
        const std::size_t got = source_->read(bytes_.data(), count);
        withElementType(type_, [&]<class T>() {
            const T* const samples = reinterpret_cast<const T*>(bytes_.data());
            std::copy_n(samples, got, static_cast<double*>(to));
        });
        return got;
    }
    bool ready() const override { return source_->ready(); }
    int descriptor() const override { return source_->descriptor(); }
    std::optional<std::uint64_t> length() const override { return source_->length(); }
    int channels() const override { return source_->channels(); }
    std::optional<double> rate() const override { return source_->rate(); }

 private:
    std::unique_ptr<Source> source_;
    ElementType type_;
    std::vector<std::byte> bytes_;
};

std::unique_ptr<Source> openRawSamples(const std::string& file, const PlotArguments& arguments) {
    const std::string remedy = "say it with --type int16, int32, float or double";
    if (arguments.type.empty()) throw fileProblem(file, "raw samples do not say of which type they are", remedy);
    const std::optional<ElementType> type = elementTypeNamed(arguments.type);
    if (!type) throw Problem("--type " + arguments.type + " is not a type of samples", remedy);
    return std::make_unique<WidenedSource>(openSource({.path = file, .type = *type}), *type);
}

std::unique_ptr<Source> openAny(const std::string& file, const PlotArguments& arguments) {
    if (!tellsFormat(file) && !isStandardStream(file))
        throw fileProblem(file, "its name does not say which format it is", "the endings are " + fileEndings());
    if (holdsRawSamples(file)) return openRawSamples(file, arguments);
    return openSource({.path = file, .type = ElementType::float64, .conversion = "rounded", .isSplit = true});
}

std::vector<std::string> headingsOf(const Source& source) {
    const auto* const headed = dynamic_cast<const ColumnHeadings*>(&source);
    return headed == nullptr ? std::vector<std::string>() : headed->headings();
}

void nameChannels(PlottedFile& file, const std::vector<std::string>& headings) {
    const std::string own = std::filesystem::path(file.name).filename().string();
    for (std::size_t i = 0; i < file.channels; ++i) {
        if (i < headings.size() && !headings[i].empty())
            file.names.push_back(headings[i]);
        else
            file.names.push_back(file.channels == 1 ? own : own + " [" + std::to_string(i + 1) + "]");
    }
}

void findAxis(PlottedFile& file, const std::vector<std::string>& headings, bool isPath) {
    constexpr std::pair<const char*, Axis> axes[] = {
        {"seconds", Axis::seconds}, {"hertz", Axis::hertz}, {"index", Axis::index}};
    file.axis = file.rate ? Axis::seconds : Axis::index;
    if (isPath || file.channels < 2) return;
    for (std::size_t i = 0; i < headings.size(); ++i)
        for (const auto& [heading, axis] : axes)
            if (headings[i] == heading && !file.axisChannel) {
                file.axisChannel = i;
                file.axis = axis;
            }
}

// The channel of that heading or number, from 0.
std::size_t channelCalled(const PlottedFile& file, const std::string& wanted) {
    const auto named = std::find(file.names.begin(), file.names.end(), wanted);
    if (named != file.names.end()) return static_cast<std::size_t>(named - file.names.begin());
    std::size_t number = 0;
    const auto read = std::from_chars(wanted.data(), wanted.data() + wanted.size(), number);
    if (read.ec == std::errc{} && read.ptr == wanted.data() + wanted.size() && number >= 1 && number <= file.channels)
        return number - 1;
    std::vector<std::string> known;
    for (const std::string& name : file.names) known.push_back(libzepl::quoted(name));
    throw fileProblem(file.name, "there is no channel or column " + libzepl::quoted(wanted),
                      "give a number, 1 to " + std::to_string(file.channels) + ", or one of " + joined(known));
}

void chooseChannels(PlottedFile& file, const std::vector<std::string>& wanted) {
    for (const std::string& each : wanted) file.shown.push_back(channelCalled(file, each));
    if (wanted.empty())
        for (std::size_t i = 0; i < file.channels; ++i)
            if (i != file.axisChannel) file.shown.push_back(i);
}

}  // namespace

std::string labelOf(Axis axis) {
    return axis == Axis::seconds ? "time (s)" : axis == Axis::hertz ? "frequency (Hz)" : "index";
}

PlottedFile openPlotted(const std::string& name, const PlotArguments& arguments) {
    PlottedFile file;
    file.name = name;
    file.source = openAny(name, arguments);
    file.channels = static_cast<std::size_t>(file.source->channels());
    file.rate = arguments.rate ? arguments.rate : file.source->rate();
    const std::vector<std::string> headings = headingsOf(*file.source);
    nameChannels(file, headings);
    findAxis(file, headings, arguments.xy);
    chooseChannels(file, arguments.channels);
    return file;
}

bool isEventsFile(const std::string& file) {
    std::error_code unknown;
    if (std::filesystem::path(file).extension() != ".csv" || !std::filesystem::is_regular_file(file, unknown))
        return false;
    const std::unique_ptr<Source> source =
        openSource({.path = file, .type = ElementType::float64, .isSplit = true, .partial = true});
    const std::vector<std::string> headings = headingsOf(*source);
    return headings.size() >= 2 && headings[0] == "event" && headings[1] == "position";
}

std::vector<double> eventPositions(const std::string& file) {
    std::vector<double> positions;
    std::int64_t position = -1;
    for (const TriggerRow& row : readTriggerRows(file)) {
        position += static_cast<std::int32_t>(row.position - static_cast<std::uint32_t>(position));
        if (row.asserts) positions.push_back(static_cast<double>(position));
    }
    return positions;
}

}  // namespace cli
