#include "runtime/files/memory_source.h"

#include <algorithm>
#include <utility>

#include "runtime/files/recording.h"

namespace libzepl {

namespace {

std::ptrdiff_t frameStepOf(const MemorySamples& samples) {
    return samples.frameStep != 0 ? samples.frameStep : samples.channels;
}

const std::byte* channelOf(const MemorySamples& samples, std::int64_t channel) {
    const auto width = static_cast<std::ptrdiff_t>(widthOf(samples.type));
    return static_cast<const std::byte*>(samples.elements) + (channel - 1) * samples.channelStep * width;
}

class MemoryRecording final : public Recording {
 public:
    explicit MemoryRecording(const MemorySamples& samples)
        : Recording({formatOf(samples.type), samples.channels, samples.frames, std::nullopt}), samples_(samples) {}

    void read(SampleBlock& block) override {
        withElementType(samples_.type, [&]<class Element>() { copy(samplesIn<Element>(block, next())); });
    }

 private:
    // Samples of the next block.
    std::size_t next() {
        const auto channels = static_cast<std::size_t>(samples_.channels);
        frames_ = std::min<std::uint64_t>(samples_.frames - read_, std::max<std::size_t>(blockSize / channels, 1));
        return frames_ * channels;
    }

    template <class Element>
    void copy(std::vector<Element>& block) {
        const auto* first = static_cast<const Element*>(samples_.elements);
        auto to = block.begin();
        for (std::size_t n = 0; n < frames_; ++n, ++read_) {
            const Element* from = first + static_cast<std::ptrdiff_t>(read_) * frameStepOf(samples_);
            for (int i = 0; i < samples_.channels; ++i) *to++ = from[i * samples_.channelStep];
        }
    }

    MemorySamples samples_;
    std::size_t frames_ = 0;  // of the block
    std::uint64_t read_ = 0;  // frames
};

}  // namespace

std::unique_ptr<Source> memorySource(const MemorySamples& samples, ReadRequest request) {
    std::unique_ptr<Source> all = convertedSource(std::make_unique<MemoryRecording>(samples), request);
    if (!request.channel || samples.channels == 1) return all;
    MemorySamples channel = samples;
    channel.elements = channelOf(samples, *request.channel);
    channel.channels = 1;
    channel.frameStep = frameStepOf(samples);
    request.channel.reset();
    request.elements = 0;
    return convertedSource(std::make_unique<MemoryRecording>(channel), request);
}

const void* elementsInPlace(const MemorySamples& samples, const ReadRequest& request) {
    if (samples.type != request.type) return nullptr;
    if (request.channel || samples.channels == 1)
        return frameStepOf(samples) == 1 || samples.frames <= 1 ? channelOf(samples, request.channel.value_or(1))
                                                                : nullptr;
    return samples.channelStep == 1 && frameStepOf(samples) == samples.channels ? samples.elements : nullptr;
}

}  // namespace libzepl
