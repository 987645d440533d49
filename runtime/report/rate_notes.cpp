// Whether the files of a run state rates that were assumed, or that their samples do not have.

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <set>

#include "runtime/report/run_notes.h"

namespace libzepl {

namespace {

std::string numberText(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

// How many frames an output has for each of an input's.
struct Ratio {
    const PipeInput* input = nullptr;
    double frames = 1;
};

// Goes from an output upstream to the inputs, by what each task wrote for what it took. So what was left unread at the end of
// a run makes no difference.
class Upstream {
 public:
    explicit Upstream(const Engine& e) : e_(e) {}

    std::vector<Ratio> from(const Pipe& pipe, double channels) {
        visited_.clear();
        found_.clear();
        follow(pipe, 1 / channels);
        return found_;
    }

 private:
    void follow(const Pipe& pipe, double frames) {
        if (!visited_.insert(&pipe).second) return;
        for (const PipeInput& input : e_.graph.pipeInputs)
            if (input.pipe == &pipe) found_.push_back({&input, frames * static_cast<double>(input.channels)});
        if (pipe.writer == nullptr || pipe.writer->task == nullptr) return;
        for (const PipePort& port : pipe.writer->task->pipePorts) {
            if (&port == pipe.writer || port.readPosition <= port.openPosition) continue;
            const double taken = static_cast<double>(port.readPosition - port.openPosition);
            follow(*port.channel, frames * static_cast<double>(pipe.writePosition) / taken);
        }
    }

    const Engine& e_;
    std::set<const Pipe*> visited_;
    std::vector<Ratio> found_;
};

// 4 for four times as many frames and for a quarter of them; 0 where the ratio is no whole number, or nearly 1.
double wholeFactor(double ratio) {
    const double factor = std::max(ratio, 1 / ratio), whole = std::round(factor);
    return whole >= 2 && std::fabs(factor - whole) <= 0.02 * whole ? whole : 0;
}

// A file whose rate may be wrong: what goes to it, by the pipe that has the fewest frames.
struct RatedFile {
    const UntoldRate& untold;
    const Pipe& pipe;
    double channels = 1;
    bool isTable = false;

    std::string says() const { return untold.file + (untold.seconds ? " counts seconds by" : " states"); }
    std::string unit() const { return isTable ? "row" : "frame"; }
    std::string placeOfRate(const std::string& name) const { return isTable ? "after its columns" : "after " + name; }
};

std::string remedyFor(const RatedFile& file, double rate) {
    if (file.untold.seconds && rate < file.untold.rate)
        return "`seconds every " + numberText(1 / rate) + "` counts its own";
    if (rate == std::floor(rate) || file.untold.seconds)
        return "`rate " + numberText(rate) + "` " + file.placeOfRate("its name") + " states its own";
    return "its own is " + numberText(rate) + ", which no sound file states: write .npy or .csv, which state none";
}

double rateOf(const PipeInput& input, const Engine& e) {
    return input.source != nullptr ? input.source->rate().value_or(e.timing.clock.rate()) : e.timing.clock.rate();
}

std::string contradiction(const RatedFile& file, const Ratio& ratio) {
    const bool isFewer = ratio.frames < 1;
    const double factor = wholeFactor(ratio.frames), rate = file.untold.rate;
    return file.says() + " the rate of `" + ratio.input->pipe->name + "`, " + numberText(rate) + ", and has " +
           (isFewer ? "one " + file.unit() + " for " : "") + numberText(factor) +
           (isFewer ? "" : " " + file.unit() + "s for each") +
           " of its frames: " + remedyFor(file, isFewer ? rate / factor : rate * factor);
}

// The input by whose rate the output's is wrong; nothing where it is right by any.
std::optional<Ratio> contradicted(const Engine& e, const RatedFile& file) {
    constexpr std::uint64_t fewest = 8;  // elements, of which nothing follows
    std::optional<Ratio> wrong;
    for (const Ratio& ratio : Upstream(e).from(file.pipe, file.channels)) {
        const bool isLong = std::min(file.pipe.writePosition, ratio.input->delivered) >= fewest;
        if (!isLong || rateOf(*ratio.input, e) != file.untold.rate || wholeFactor(ratio.frames) == 0)
            return std::nullopt;
        if (!wrong) wrong = ratio;
    }
    return wrong;
}

void addRateNote(const Engine& e, const RatedFile& file, Report& report) {
    if (file.untold.assumed)
        report.notes.push_back(file.says() + " " + numberText(file.untold.rate) +
                               " frames a second, which is assumed, since no input states a rate: `rate R` in the "
                               "procedure or " +
                               file.placeOfRate("the file's name") + " states the right one");
    else if (const std::optional<Ratio> wrong = contradicted(e, file))
        report.notes.push_back(contradiction(file, *wrong));
}

double framesOf(const FrameOutput::Member& member) {
    return static_cast<double>(member.port.channel->writePosition) / static_cast<double>(member.channels);
}

}  // namespace

void addRateNotes(const Engine& e, Report& report) {
    for (const PipeOutput& output : e.graph.pipeOutputs) {
        if (!output.untoldRate) continue;
        const double channels = output.sink != nullptr ? output.sink->channels() : 1;
        addRateNote(e, {*output.untoldRate, *output.port.channel, channels}, report);
    }
    for (const FrameOutput& output : e.graph.frameOutputs) {
        if (!output.untoldRate) continue;
        const auto& shortest =
            *std::min_element(output.members.begin(), output.members.end(),
                              [](const auto& a, const auto& b) { return framesOf(a) < framesOf(b); });
        const double channels = static_cast<double>(shortest.channels);
        addRateNote(e, {*output.untoldRate, *shortest.port.channel, channels, output.isTable}, report);
    }
}

}  // namespace libzepl
