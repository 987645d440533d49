#include "runtime/files/recording.h"

#include <algorithm>
#include <cstring>

#include "runtime/diagnostics.h"
#include "runtime/files/input_file.h"

namespace libzepl {

namespace {

void checkChannel(const RecordingFacts& facts, const ReadRequest& request) {
    const std::string name = request.path.string();
    if (request.column) throw fileProblem(name, "only CSV files have columns", "choose a channel with `channel K`");
    if (!request.channel) return checkInterleaving(name, facts.channels, request, "channel");
    checkElements(name, facts.channels, request, "channel");
    if (*request.channel >= 1 && *request.channel <= facts.channels) return;
    throw fileProblem(name, "there is no channel " + std::to_string(*request.channel),
                      facts.channels == 1 ? "the recording has one channel"
                                          : "the recording has the channels 1 to " + std::to_string(facts.channels));
}

void checkFit(const RecordingFacts& facts, const ReadRequest& request) {
    if (!request.conversion.empty() || fits(facts.format, request.type)) return;
    throw fileProblem(request.path.string(),
                      "its " + describe(facts.format) + " samples do not fit the type `" +
                          std::string(nameOf(request.type)) + "` without loss",
                      fitRemedy(facts.format));
}

template <class To>
class ConvertedSource final : public Source {
 public:
    ConvertedSource(std::unique_ptr<Recording> recording, const ReadRequest& request)
        : recording_(std::move(recording)),
          name_(request.path.string()),
          conversion_(conversionOf(request)),
          stride_(request.channel ? static_cast<std::size_t>(recording_->facts().channels) : 1),
          skip_(request.channel ? static_cast<std::size_t>(*request.channel - 1) : 0) {}

    std::size_t read(void* to, std::size_t count) override {
        std::size_t done = 0;
        while (done < count && (next_ < ready_.size() || ((done == 0 || recording_->ready()) && refill()))) {
            const std::size_t taken = std::min(count - done, ready_.size() - next_);
            std::memcpy(static_cast<To*>(to) + done, ready_.data() + next_, taken * sizeof(To));
            next_ += taken;
            done += taken;
        }
        return done;
    }

    bool ready() const override { return next_ < ready_.size() || recording_->ready(); }
    int descriptor() const override { return recording_->descriptor(); }
    std::optional<std::uint64_t> length() const override {
        const auto frames = recording_->facts().frames;
        if (!frames) return std::nullopt;
        return *frames * static_cast<std::uint64_t>(channels());
    }
    int channels() const override { return stride_ > 1 ? 1 : recording_->facts().channels; }
    std::optional<double> rate() const override { return recording_->facts().rate; }
    std::vector<std::string> notes() const override { return recording_->notes(); }

 private:
    // A block may hold nothing of the chosen channel, so blocks are read until one does.
    bool refill() {
        ready_.clear();
        next_ = 0;
        while (ready_.empty()) {
            recording_->read(block_);
            const bool ended = std::visit([this](auto& samples) { return !this->convert(samples); }, block_);
            if (ended) return false;
        }
        return true;
    }

    // Whether the block held any. Whole blocks of the pipe's own type change places with what is ready: every conversion
    // leaves such samples as they are.
    template <class From>
    bool convert(std::vector<From>& samples) {
        if constexpr (std::is_same_v<From, To>) {
            if (stride_ == 1) {
                ready_.swap(samples);
                samples_ += ready_.size();
                return !ready_.empty();
            }
        }
        using Widened = std::conditional_t<std::is_integral_v<From>, std::int64_t, From>;
        withConversion<To>(conversion_, recording_->facts().format, Widened{}, [&](auto converted) {
            for (; skip_ < samples.size(); skip_ += stride_) {
                if constexpr (std::is_integral_v<To> && !std::is_integral_v<From>)
                    if (std::isnan(samples[skip_])) throwNaN(samples_ + skip_);
                ready_.push_back(converted(samples[skip_]));
            }
        });
        skip_ -= samples.size();
        samples_ += samples.size();
        return !samples.empty();
    }

    [[noreturn]] void throwNaN(std::uint64_t sample) const {
        const auto total = static_cast<std::uint64_t>(recording_->facts().channels);
        const std::string channel = total > 1 ? " of channel " + std::to_string(sample % total + 1) : "";
        throw fileProblem(name_,
                          "sample " + std::to_string(sample / total) + channel +
                              " is nan, which no integer type holds (samples count from 0)",
                          "declare the type `float` or `double`");
    }

    std::unique_ptr<Recording> recording_;
    std::string name_;
    Conversion conversion_;
    std::size_t stride_;
    std::size_t skip_;           // samples before the next one that is wanted
    std::uint64_t samples_ = 0;  // in all blocks so far
    SampleBlock block_;
    std::vector<To> ready_;
    std::size_t next_ = 0;
};

}  // namespace

void checkInterleaving(const std::string& name, std::int64_t there, const ReadRequest& request,
                       const std::string& unit) {
    const std::string all = counted(static_cast<std::uint64_t>(there), unit);
    checkElements(name, there, request, unit);
    if (request.isSplit) return;
    if (request.interleaved && *request.interleaved != there)
        throw fileProblem(name, "it has " + all + ", and not " + std::to_string(*request.interleaved),
                          "take all with `interleaved " + std::to_string(there) + "`, or one with `" + unit + " K`");
    if (!request.interleaved && there > 1)
        throw fileProblem(name, "it has " + all + ", and which of them is not said",
                          "take one with `" + unit + " K`, all, frame by frame, with `interleaved " +
                              std::to_string(there) + "`, or each as an element of an array, NAME[" +
                              std::to_string(there) + "]");
}

void checkElements(const std::string& name, std::int64_t there, const ReadRequest& request, const std::string& unit) {
    if (request.elements == 0 || request.elements == there) return;
    const std::int64_t fewer = std::min(there, request.elements);
    throw fileProblem(name,
                      "it has " + counted(static_cast<std::uint64_t>(there), unit) + ", and an array of " +
                          std::to_string(request.elements) + " takes just as many",
                      there > request.elements
                          ? "say which with `" + unit + " 1.." + std::to_string(fewer) + "` or another range"
                          : "declare an array of " + std::to_string(there));
}

std::unique_ptr<Source> convertedSource(std::unique_ptr<Recording> recording, const ReadRequest& request) {
    checkChannel(recording->facts(), request);
    checkFit(recording->facts(), request);
    return withElementType(request.type, [&]<class Element>() -> std::unique_ptr<Source> {
        return std::make_unique<ConvertedSource<Element>>(std::move(recording), request);
    });
}

}  // namespace libzepl
