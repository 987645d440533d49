#include "runtime/engine/split_source.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/diagnostics.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

constexpr std::size_t blockBytes = std::size_t{64} << 10;

// What waits of one channel.
struct Queue {
    std::string name;
    std::size_t offset = 0;  // of its elements in a frame, bytes
    std::vector<std::byte> bytes;
    std::size_t next = 0;

    std::size_t waiting() const { return bytes.size() - next; }
};

class Splitter {
 public:
    Splitter(std::unique_ptr<Source> whole, ElementType type, const std::vector<SplitChannel>& channels,
             MemoryBudget& memory)
        : whole_(std::move(whole)),
          memory_(memory),
          width_(widthOf(type)),
          frame_(width_ * static_cast<std::size_t>(whole_->channels())) {
        for (const SplitChannel& each : channels) {
            if (each.channel < 1 || each.channel > whole_->channels())
                throw Problem(libzepl::quoted(each.name) + " takes channel " + std::to_string(each.channel) +
                                  ", and there are " + std::to_string(whole_->channels()),
                              "channels count from 1");
            queues_.push_back({each.name, static_cast<std::size_t>(each.channel - 1) * width_, {}, 0});
        }
        block_.resize(std::max(blockBytes / frame_, std::size_t{1}) * frame_);
    }

    Source& whole() { return *whole_; }
    const Source& whole() const { return *whole_; }

    std::size_t read(std::size_t channel, std::byte* to, std::size_t count) {
        Queue& queue = queues_[channel];
        std::size_t done = 0;
        while (done < count) {
            if (queue.waiting() == 0 && (ended_ || (done > 0 && !whole_->ready()) || !fill())) break;
            const std::size_t n = std::min((count - done) * width_, queue.waiting());
            if (n > 0) std::memcpy(to + done * width_, queue.bytes.data() + queue.next, n);
            queue.next += n;
            done += n / width_;
        }
        return done;
    }

    bool ready(std::size_t channel) const { return queues_[channel].waiting() > 0 || ended_ || whole_->ready(); }

 private:
    // Reads what is there, which can be less than a frame. False at the end.
    bool fill() {
        const std::size_t got = whole_->read(block_.data() + kept_, (block_.size() - kept_) / width_);
        ended_ = got == 0;
        kept_ += got * width_;
        const std::size_t frames = kept_ / frame_;
        for (Queue& queue : queues_) append(queue, frames);
        kept_ -= frames * frame_;
        std::memmove(block_.data(), block_.data() + frames * frame_, kept_);
        return !ended_;
    }

    void append(Queue& queue, std::size_t frames) {
        if (queue.next == queue.bytes.size() || queue.next >= blockBytes) {
            queue.bytes.erase(queue.bytes.begin(), queue.bytes.begin() + static_cast<std::ptrdiff_t>(queue.next));
            queue.next = 0;
        }
        const std::size_t before = queue.bytes.size(), capacity = queue.bytes.capacity();
        if (const std::size_t needed = before + frames * width_; needed > capacity) {
            const std::size_t grown = std::max(needed, 2 * capacity);
            if (!memory_.reserve(grown - capacity))
                throw Problem("no memory is left for " + counted(before / width_, "sample") + " of " +
                                  libzepl::quoted(queue.name) +
                                  " that wait to be taken, while the other channels of its input continue",
                              "have its readers keep pace, or raise --memory");
            queue.bytes.reserve(grown);
        }
        queue.bytes.resize(before + frames * width_);
        for (std::size_t i = 0; i < frames; ++i)
            std::memcpy(queue.bytes.data() + before + i * width_, block_.data() + i * frame_ + queue.offset, width_);
    }

    std::unique_ptr<Source> whole_;
    MemoryBudget& memory_;
    std::size_t width_, frame_;  // bytes
    std::vector<Queue> queues_;
    std::vector<std::byte> block_;
    std::size_t kept_ = 0;  // bytes of an incomplete frame
    bool ended_ = false;
};

class ChannelSource final : public Source {
 public:
    ChannelSource(std::shared_ptr<Splitter> splitter, std::size_t channel)
        : splitter_(std::move(splitter)), channel_(channel) {}

    std::size_t read(void* to, std::size_t count) override {
        return splitter_->read(channel_, static_cast<std::byte*>(to), count);
    }
    bool ready() const override { return splitter_->ready(channel_); }
    int descriptor() const override { return whole().descriptor(); }
    bool arm() override { return splitter_->whole().arm(); }
    void disarm() override { splitter_->whole().disarm(); }
    // The first of them does it for all.
    void start() override {
        if (channel_ == 0) splitter_->whole().start();
    }
    void stop() override {
        if (channel_ == 0) splitter_->whole().stop();
    }
    Losses losses() const override { return whole().losses(); }
    std::optional<std::uint64_t> length() const override {
        const std::optional<std::uint64_t> elements = whole().length();
        if (!elements) return std::nullopt;
        return *elements / static_cast<std::uint64_t>(whole().channels());
    }
    int channels() const override { return 1; }
    std::optional<double> rate() const override { return whole().rate(); }
    std::vector<std::string> notes() const override {
        return channel_ == 0 ? whole().notes() : std::vector<std::string>();
    }

 private:
    const Source& whole() const { return std::as_const(*splitter_).whole(); }

    std::shared_ptr<Splitter> splitter_;
    std::size_t channel_;
};

}  // namespace

std::vector<std::unique_ptr<Source>> splitSource(std::unique_ptr<Source> whole, ElementType type,
                                                 const std::vector<SplitChannel>& channels, MemoryBudget& memory) {
    const auto splitter = std::make_shared<Splitter>(std::move(whole), type, channels, memory);
    std::vector<std::unique_ptr<Source>> sources;
    for (std::size_t i = 0; i < channels.size(); ++i) sources.push_back(std::make_unique<ChannelSource>(splitter, i));
    return sources;
}

}  // namespace libzepl
