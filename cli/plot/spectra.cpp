#include "cli/plot/spectra.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "runtime/diagnostics.h"
#include "runtime/session.h"
#include "runtime/stop_request.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using namespace libzepl;

constexpr std::size_t minBlock = 16, maxFftBlock = 16384;
constexpr std::size_t longestOfMap = 1024, longestOfMean = 8192;  // unless asked for

// What was read ahead, and then the rest.
class AheadSource final : public Source {
 public:
    AheadSource(std::vector<double> ahead, std::unique_ptr<Source> rest)
        : ahead_(std::move(ahead)), rest_(std::move(rest)) {}
    std::size_t read(void* to, std::size_t count) override {
        if (next_ == ahead_.size()) return rest_->read(to, count);
        const std::size_t taken = std::min(count, ahead_.size() - next_);
        std::memcpy(to, ahead_.data() + next_, taken * sizeof(double));
        next_ += taken;
        return taken;
    }
    bool ready() const override { return next_ < ahead_.size() || rest_->ready(); }
    int descriptor() const override { return rest_->descriptor(); }
    std::optional<std::uint64_t> length() const override { return std::nullopt; }
    int channels() const override { return rest_->channels(); }
    std::optional<double> rate() const override { return std::nullopt; }

 private:
    std::vector<double> ahead_;
    std::unique_ptr<Source> rest_;
    std::size_t next_ = 0;
};

// Sums of the powers of blocks that share a column. Where there are too many columns, each two become one.
struct PowerColumns {
    std::size_t bins = 0, maxColumns = 1;
    std::size_t blocksPerColumn = 1;
    std::vector<std::vector<double>> sums;
    std::vector<std::size_t> counts;  // blocks in each
    std::size_t bin = 0;              // of the block that comes

    void add(double power) {
        if (bin == 0 && (counts.empty() || (counts.back() == blocksPerColumn && maxColumns > 1))) beginColumn();
        sums.back()[bin] += power;
        if (++bin < bins) return;
        bin = 0;
        ++counts.back();
    }

 private:
    void beginColumn() {
        if (sums.size() == maxColumns) mergePairs();
        sums.emplace_back(bins, 0.0);
        counts.push_back(0);
    }
    void mergePairs() {
        for (std::size_t i = 0; i < maxColumns / 2; ++i) {
            std::vector<double> both = std::move(sums[2 * i]);
            for (std::size_t k = 0; k < bins; ++k) both[k] += sums[2 * i + 1][k];
            sums[i] = std::move(both);
            counts[i] = counts[2 * i] + counts[2 * i + 1];
        }
        sums.resize(maxColumns / 2);
        counts.resize(maxColumns / 2);
        blocksPerColumn *= 2;
    }
};

class PowerSink final : public Sink {
 public:
    explicit PowerSink(std::shared_ptr<PowerColumns> columns) : columns_(std::move(columns)) {}
    void write(const void* from, std::size_t count) override {
        const auto* const powers = static_cast<const double*>(from);
        for (std::size_t i = 0; i < count; ++i) columns_->add(powers[i]);
    }
    void finish() override {}

 private:
    std::shared_ptr<PowerColumns> columns_;
};

// As much as decides on the block's length.
std::vector<double> readAhead(PlottedFile& file) {
    constexpr std::size_t frames = 65536;
    std::vector<double> ahead(frames * file.channels);
    std::size_t done = 0;
    for (std::size_t got = 1; got > 0 && done < ahead.size(); done += got)
        got = file.source->read(ahead.data() + done, ahead.size() - done);
    ahead.resize(done);
    return ahead;
}

std::size_t blockFor(const PlottedFile& file, std::size_t frames, bool isMap, int wanted) {
    const auto size = static_cast<std::size_t>(std::max(wanted, 0));
    if (wanted != 0 && (!std::has_single_bit(size) || size < minBlock || size > maxFftBlock))
        throw Problem("--block " + std::to_string(wanted) + " is no length of a spectrum's blocks",
                      "give a power of two from 16 to 16384");
    const std::size_t needed = std::max(size, minBlock);
    if (frames < needed)
        throw fileProblem(
            file.name,
            "its " + counted(frames, "sample") + " are fewer than a spectrum's block of " + std::to_string(needed),
            size > minBlock ? "give a shorter --block" : "give a longer recording");
    if (size != 0) return size;
    // Eight blocks and more to average, or about as many blocks as each has lines.
    const auto length = isMap ? static_cast<std::size_t>(std::sqrt(2.0 * static_cast<double>(frames))) : frames / 8;
    return std::clamp(std::bit_floor(length), minBlock, isMap ? longestOfMap : longestOfMean);
}

// Steps of a table's column of seconds are those of its first two rows.
double rateOf(const PlottedFile& file, const std::vector<double>& ahead) {
    if (file.rate && !file.axisChannel) return *file.rate;
    if (!file.axisChannel || file.axis != Axis::seconds || ahead.size() < 2 * file.channels) return 1;
    const double step = ahead[file.channels + *file.axisChannel] - ahead[*file.axisChannel];
    if (!(step > 0))
        throw fileProblem(file.name, "its seconds do not grow",
                          "give the frames a second with --rate R, and the column with --channel");
    return 1 / step;
}

Spectra levelsOf(const PowerColumns& columns, std::size_t block, double rate) {
    // The window halves amplitudes, and an amplitude A has a power of A^2 / 2 but at 0 Hz.
    constexpr double constantFactor = 4, sineFactor = 8;
    Spectra spectra{.block = block, .rate = rate, .levels = {}};
    spectra.secondsPerColumn = static_cast<double>(columns.blocksPerColumn * block) / rate;
    for (std::size_t i = 0; i < columns.sums.size(); ++i) {
        if (columns.counts[i] == 0) continue;
        std::vector<float>& levels = spectra.levels.emplace_back();
        for (std::size_t bin = 0; bin < columns.bins; ++bin) {
            const double mean = columns.sums[i][bin] / static_cast<double>(columns.counts[i]);
            levels.push_back(static_cast<float>(10 * std::log10(mean * (bin == 0 ? constantFactor : sineFactor))));
        }
    }
    return spectra;
}

}  // namespace

std::vector<Spectra> spectraOf(PlottedFile& file, std::size_t columns, int wanted, const PlotTools& tools) {
    if (file.axis == Axis::hertz)
        throw fileProblem(file.name, "its column `hertz` says that it holds spectra",
                          "draw it without --spectrum and --spectrogram");
    std::vector<double> ahead = readAhead(file);
    const double rate = rateOf(file, ahead);
    const std::size_t frames =
        std::max(ahead.size(), static_cast<std::size_t>(file.source->length().value_or(0))) / file.channels;
    const std::size_t block = blockFor(file, frames, columns > 1, wanted);
    SessionOptions options;
    options.stop = tools.stop;
    Session session(tools.library, options);
    std::vector<ChannelInput> inputs;
    std::vector<std::shared_ptr<PowerColumns>> powers;
    for (const std::size_t channel : file.shown) {
        const PipeId samples = session.addPipe({.name = file.names[channel], .type = ElementType::float64});
        const PipeId power = session.addPipe({.name = "power", .type = ElementType::float64});
        inputs.push_back({.pipe = samples, .channel = static_cast<int>(channel) + 1});
        constexpr std::int16_t powerMode = 4, hannWindow = 1;
        session.addTask(
            {.command = "FFT",
             .arguments = {int16Constant(powerMode), int16Constant(static_cast<std::int16_t>(std::countr_zero(block))),
                           int16Constant(hannWindow), session.use(samples), session.use(power)}});
        powers.push_back(std::make_shared<PowerColumns>());
        powers.back()->bins = block / 2;
        powers.back()->maxColumns = columns;
        session.setOutput(power, std::make_unique<PowerSink>(powers.back()));
    }
    auto source = std::make_unique<AheadSource>(std::move(ahead), std::move(file.source));
    if (file.channels > 1)
        session.setInputs(inputs, std::move(source));
    else
        session.setInput(inputs[0].pipe, std::move(source));
    const Report report = session.run();
    if (report.status == Report::Status::interrupted) throw Interrupted(file.name);
    if (report.status != Report::Status::ok)
        throw Problem(report.reason.empty() ? "the spectrum failed" : report.reason, report.remedy);
    std::vector<Spectra> spectra;
    for (const auto& each : powers) spectra.push_back(levelsOf(*each, block, rate));
    return spectra;
}

}  // namespace cli
