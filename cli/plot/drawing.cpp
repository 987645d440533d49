#include "cli/plot/drawing.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "cli/plot/path_reduction.h"
#include "cli/plot/plotted_file.h"
#include "cli/plot/reduction.h"
#include "cli/plot/spectra.h"
#include "runtime/diagnostics.h"
#include "runtime/stop_request.h"

namespace cli {

namespace {

using namespace libzepl;

// FROM..TO, as of --range.
std::optional<Limits> rangeOf(const std::string& text) {
    if (text.empty()) return std::nullopt;
    Limits limits;
    const std::size_t dots = text.find("..");
    const auto read = [](std::string_view part, double& value) {
        const auto result = std::from_chars(part.data(), part.data() + part.size(), value);
        return result.ec == std::errc{} && result.ptr == part.data() + part.size() && std::isfinite(value);
    };
    const std::string_view view = text;
    if (dots == std::string::npos || !read(view.substr(0, dots), limits.from) ||
        !read(view.substr(dots + 2), limits.to) || limits.from >= limits.to)
        throw Problem("--range " + text + " is no range",
                      "write --range FROM..TO in the units of the x axis, such as --range 0.5..2");
    return limits;
}

// Reads frames of a file, and gives each with its x to `take`, until that says that it has enough.
template <class Take>
void readFrames(PlottedFile& file, Take take) {
    constexpr std::size_t frames = 8192;
    const std::size_t width = file.channels;
    std::vector<double> samples(frames * width);
    const double step = file.axis == Axis::seconds && file.rate ? *file.rate : 1;
    std::size_t held = 0;
    double index = 0;
    for (;;) {
        const std::size_t got = file.source->read(samples.data() + held, samples.size() - held);
        if (got == 0) return;
        endIfStopped(file.name);
        held += got;
        const double* frame = samples.data();
        for (; held >= width; held -= width, frame += width, ++index)
            if (!take(file.axisChannel ? frame[*file.axisChannel] : index / step, frame)) return;
        std::copy_n(frame, held, samples.data());
    }
}

class Drawing {
 public:
    Drawing(const PlotArguments& arguments, std::size_t columns, const PlotTools& tools)
        : arguments_(arguments), range_(rangeOf(arguments.range)), columns_(columns), tools_(tools) {}

    Picture picture() {
        std::vector<std::string> signals, events;
        for (const std::string& file : arguments_.files) (isEventsFile(file) ? events : signals).push_back(file);
        for (const std::string& file : signals) files_.push_back(openPlotted(file, arguments_));
        if (!arguments_.events.empty()) events.push_back(arguments_.events);
        if (arguments_.spectrogram)
            addMap();
        else if (arguments_.xy)
            addPath();
        else
            for (PlottedFile& file : files_) addCurves(file);
        for (const std::string& file : events) addEvents(file);
        picture_.title = arguments_.title;
        labelAxes();
        fitLimits(picture_, range_);
        const bool isEmpty = std::all_of(picture_.curves.begin(), picture_.curves.end(),
                                         [](const Curve& curve) { return curve.bands.empty(); });
        if (isEmpty && !picture_.map && picture_.marks.empty()) refuseEmpty();
        return std::move(picture_);
    }

 private:
    void addCurves(PlottedFile& file) {
        if (arguments_.spectrum) return addSpectra(file);
        setAxis(file.axis, file.name);
        std::vector<Reduction> reductions(file.shown.size());
        readFrames(file, [&](double x, const double* frame) {
            if (range_ && (x < range_->from || x > range_->to)) return file.axisChannel || x < range_->from;
            for (std::size_t i = 0; i < reductions.size(); ++i) reductions[i].add(x, frame[file.shown[i]]);
            return true;
        });
        for (std::size_t i = 0; i < reductions.size(); ++i) {
            Curve curve = reductions[i].curve(columns_);
            curve.name = file.names[file.shown[i]];
            picture_.curves.push_back(std::move(curve));
        }
    }

    void addSpectra(PlottedFile& file) {
        const std::vector<Spectra> spectra = spectraOf(file, 1, arguments_.block, tools_);
        for (std::size_t i = 0; i < spectra.size(); ++i) {
            setSpectrumRate(spectra[i].rate != 1, file.name);
            Reduction reduction;
            for (std::size_t bin = 0; bin < spectra[i].levels.at(0).size(); ++bin) {
                const double x = static_cast<double>(bin) * spectra[i].rate / static_cast<double>(spectra[i].block);
                if (!range_ || (x >= range_->from && x <= range_->to))
                    reduction.add(x, static_cast<double>(spectra[i].levels[0][bin]));
            }
            Curve curve = reduction.curve(columns_);
            curve.name = file.names[file.shown[i]];
            picture_.curves.push_back(std::move(curve));
        }
    }

    void addMap() {
        constexpr std::size_t maxColumns = 512;
        if (files_.size() != 1 || files_[0].shown.size() != 1)
            throw Problem("a spectrogram shows one channel of one file",
                          "name one file, and choose one of its channels with --channel");
        const Spectra spectra = spectraOf(files_[0], maxColumns, arguments_.block, tools_).at(0);
        LevelMap map;
        map.rows = spectra.block / 2;
        map.stepX = spectra.secondsPerColumn;
        map.firstX = map.stepX / 2;
        map.stepY = spectra.rate / static_cast<double>(spectra.block);
        for (const std::vector<float>& column : spectra.levels)
            map.levels.insert(map.levels.end(), column.begin(), column.end());
        picture_.map = std::move(map);
        setAxis(spectra.rate != 1 ? Axis::seconds : Axis::index, files_[0].name);
    }

    void addPath() {
        picture_.isPath = true;
        std::vector<std::string> names;
        for (const PlottedFile& file : files_)
            for (const std::size_t channel : file.shown) names.push_back(file.names[channel]);
        if (names.size() < 2 || files_.size() > 2 || (files_.size() == 2 && names.size() != 2))
            throw Problem(
                "--xy draws the first channel against the others of a file, or one file's samples against another's",
                "name a file of several channels, or two of one each");
        std::vector<PathReduction> paths(names.size() - 1);
        if (files_.size() == 1)
            readFrames(files_[0], [&](double, const double* frame) {
                for (std::size_t i = 0; i < paths.size(); ++i)
                    paths[i].add(frame[files_[0].shown[0]], frame[files_[0].shown[i + 1]]);
                return true;
            });
        else
            addPathOfTwo(paths[0]);
        for (std::size_t i = 0; i < paths.size(); ++i) {
            Curve curve = paths[i].curve();
            curve.name = names[i + 1];
            picture_.curves.push_back(std::move(curve));
        }
        pathLabel_ = withUnit(names[0]);
    }

    // The shorter file ends it.
    void addPathOfTwo(PathReduction& path) {
        constexpr std::size_t piece = 4096;
        std::vector<double> ahead;
        std::size_t next = 0;
        readFrames(files_[0], [&](double, const double* frame) {
            if (next == ahead.size()) {
                ahead.resize(piece * files_[1].channels);
                std::size_t done = 0;
                for (std::size_t got = 1; got > 0 && done < ahead.size(); done += got)
                    got = files_[1].source->read(ahead.data() + done, ahead.size() - done);
                ahead.resize(done);
                next = 0;
            }
            if (next + files_[1].channels > ahead.size()) return false;
            path.add(frame[files_[0].shown[0]], ahead[next + files_[1].shown[0]]);
            next += files_[1].channels;
            return true;
        });
    }

    void addEvents(const std::string& name) {
        const std::vector<double> positions = eventPositions(name);
        const bool isAlone = files_.empty();
        std::optional<double> rate = arguments_.rate;
        for (const PlottedFile& file : files_)
            if (!rate) rate = file.rate;
        if (isAlone) setAxis(rate ? Axis::seconds : Axis::index, name);
        if (axis_ == Axis::hertz || arguments_.xy || arguments_.spectrum)
            throw fileProblem(name, "events have no place where the x axis is not the time",
                              "draw them with the signals that they are of");
        if (axis_ == Axis::seconds && !rate)
            throw fileProblem(name, "its positions count frames, and the x axis is in seconds",
                              "give the frames a second with --rate R");
        const double perUnit = axis_ == Axis::seconds ? *rate : 1;
        const std::string own = std::filesystem::path(name).filename().string();
        if (isAlone) {
            Reduction counts;
            double count = 0;
            for (const double position : positions) {
                counts.add(position / perUnit, count);
                counts.add(position / perUnit, ++count);
            }
            Curve curve = counts.curve(columns_);
            curve.name = "events so far, " + own;
            picture_.curves.push_back(std::move(curve));
        } else {
            for (const double position : positions) picture_.marks.push_back(position / perUnit);
            picture_.marksName += (picture_.marksName.empty() ? "" : ", ") + own;
        }
    }

    // All files share the axis.
    void setAxis(Axis axis, const std::string& name) {
        if (axisFile_.empty()) {
            axis_ = axis;
            axisFile_ = name;
        } else if (axis_ != axis) {
            const auto nameOf = [](Axis each) {
                return each == Axis::seconds ? "seconds" : each == Axis::hertz ? "hertz" : "an index";
            };
            throw fileProblem(
                name,
                std::string("its x axis is ") + nameOf(axis) + ", and that of " + axisFile_ + " is " + nameOf(axis_),
                "draw them one by one, or give the frames a second of all with --rate R");
        }
    }

    void setSpectrumRate(bool isKnown, const std::string& name) { setAxis(isKnown ? Axis::hertz : Axis::index, name); }

    std::string withUnit(const std::string& name) const {
        return arguments_.unit.empty() ? name : name + " (" + arguments_.unit + ")";
    }

    void labelAxes() {
        const std::string level = arguments_.unit.empty() ? "dB re 1" : "dB re 1 " + arguments_.unit;
        const bool hasRate = axis_ != Axis::index;
        picture_.xLabel = arguments_.xy ? pathLabel_ : labelOf(axis_);
        picture_.yLabel = withUnit(picture_.curves.size() == 1 ? picture_.curves[0].name : "value");
        const std::string frequency = hasRate ? "frequency (Hz)" : "frequency (cycles a sample)";
        if (arguments_.spectrum) {
            picture_.xLabel = frequency;
            picture_.yLabel =
                (picture_.curves.size() == 1 ? picture_.curves[0].name + ", amplitude (" : "amplitude (") + level + ")";
        }
        if (arguments_.spectrogram) {
            picture_.yLabel = frequency;
            picture_.mapLabel = files_[0].names[files_[0].shown[0]] + ", amplitude (" + level + ")";
        }
    }

    [[noreturn]] void refuseEmpty() const {
        const std::string& name = arguments_.files.front();
        if (range_)
            throw fileProblem(name, "there is nothing to draw in --range " + arguments_.range,
                              "choose another range; without --range all is drawn");
        throw fileProblem(name, "there is nothing to draw: it has no finite samples", "check how it was made");
    }

    const PlotArguments& arguments_;
    std::optional<Limits> range_;
    std::size_t columns_;
    const PlotTools& tools_;
    std::vector<PlottedFile> files_;
    Picture picture_;
    Axis axis_ = Axis::index;
    std::string axisFile_;  // which set it
    std::string pathLabel_;
};

void checkArguments(const PlotArguments& arguments) {
    if (arguments.spectrum + arguments.spectrogram + arguments.xy > 1)
        throw Problem("--spectrum, --spectrogram and --xy are different pictures", "ask for one of them");
    if (arguments.rate && !(*arguments.rate > 0 && std::isfinite(*arguments.rate)))
        throw Problem("--rate takes a finite number above 0", "give the frames a second, such as --rate 1000");
    const std::string ending = std::filesystem::path(arguments.to).extension().string();
    if (!arguments.to.empty() && ending != ".svg" && ending != ".png")
        throw Problem("--to " + arguments.to + " does not end in .svg or .png",
                      "give a name with one of these; without --to the picture is drawn in the terminal");
}

}  // namespace

Picture pictureOf(const PlotArguments& arguments, std::size_t columns, const PlotTools& tools) {
    checkArguments(arguments);
    return Drawing(arguments, columns, tools).picture();
}

}  // namespace cli
