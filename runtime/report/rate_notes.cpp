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

std::string remedyFor(double rate) {
    if (rate == std::floor(rate)) return "`rate " + numberText(rate) + "` after its name states its own";
    return "its own is " + numberText(rate) + ", which no sound file states: write .npy or .csv, which state none";
}

double rateOf(const PipeInput& input, const Engine& e) {
    return input.source != nullptr ? input.source->rate().value_or(e.timing.clock.rate()) : e.timing.clock.rate();
}

std::string contradiction(const PipeOutput& output, const Ratio& ratio) {
    const bool isFewer = ratio.frames < 1;
    const double factor = wholeFactor(ratio.frames), rate = output.untoldRate->rate;
    return output.untoldRate->file + " states the rate of `" + ratio.input->pipe->name + "`, " + numberText(rate) +
           ", and has " + (isFewer ? "one frame for " : "") + numberText(factor) + (isFewer ? "" : " frames for each") +
           " of its frames: " + remedyFor(isFewer ? rate / factor : rate * factor);
}

// The input by whose rate the output's is wrong; nothing where it is right by any.
std::optional<Ratio> contradicted(const Engine& e, const PipeOutput& output) {
    constexpr std::uint64_t fewest = 8;  // frames, of which nothing follows
    const double channels = output.sink != nullptr ? output.sink->channels() : 1;
    const Pipe& pipe = *output.port.channel;
    std::optional<Ratio> wrong;
    for (const Ratio& ratio : Upstream(e).from(pipe, channels)) {
        const bool isLong = std::min(pipe.writePosition, ratio.input->delivered) >= fewest;
        if (!isLong || rateOf(*ratio.input, e) != output.untoldRate->rate || wholeFactor(ratio.frames) == 0)
            return std::nullopt;
        if (!wrong) wrong = ratio;
    }
    return wrong;
}

}  // namespace

void addRateNotes(const Engine& e, Report& report) {
    for (const PipeOutput& output : e.graph.pipeOutputs) {
        if (!output.untoldRate) continue;
        const UntoldRate& untold = *output.untoldRate;
        if (untold.assumed)
            report.notes.push_back(untold.file + " states " + numberText(untold.rate) +
                                   " frames a second, which is assumed, since no input states a rate: "
                                   "`rate R` in the procedure or after the file's name states the right one");
        else if (const std::optional<Ratio> wrong = contradicted(e, output))
            report.notes.push_back(contradiction(output, *wrong));
    }
}

}  // namespace libzepl
