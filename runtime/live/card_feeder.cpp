#include "runtime/live/card_feeder.h"

#include "runtime/files/formats.h"
#include "runtime/files/recording.h"
#include "runtime/files/stream_wait.h"
#include "runtime/live/loss.h"

namespace libzepl {

namespace {

// What the card gives, in blocks as it gives them.
class CardRecording final : public Recording {
 public:
    CardRecording(Card& card, const RecordingFacts& facts) : Recording(facts), card_(card) {}

    void read(SampleBlock& block) override {
        const bool isReal = facts().format.kind == SampleFormat::Kind::real;
        if (isReal && facts().format.bits == 32) return readInto(samplesIn<float>(block, 0));
        if (isReal) return readInto(samplesIn<double>(block, 0));
        if (facts().format.bits == 16) return readInto(samplesIn<std::int16_t>(block, 0));
        readInto(samplesIn<std::int32_t>(block, 0));
    }
    // One block with each read, so that a gap lies between two of them.
    bool ready() const override { return false; }

 private:
    template <class Sample>
    void readInto(std::vector<Sample>& samples) {
        const auto channels = static_cast<std::size_t>(facts().channels);
        const std::size_t most = std::max<std::size_t>(blockSize / channels, 1);
        samples.resize(most * channels);
        std::size_t frames = card_.read(samples.data(), most);
        while (frames == 0) {
            card_.await();
            frames = card_.read(samples.data(), most);
        }
        samples.resize(frames * channels);
    }

    Card& card_;
};

class CardFeeder final : public Feeder {
 public:
    CardFeeder(const Address& address, const ReadRequest& request, const LiveSettings& settings, const AlsaCalls& alsa)
        : address_(address),
          width_(widthOf(request.type)),
          fill_(settings.fill),
          facts_{.format = {}, .channels = channelsOf(address, request), .frames = {}, .rate = {}},
          card_(address,
                {.type = request.type,
                 .converts = !request.conversion.empty(),
                 .channels = facts_.channels,
                 .rate = settings.rate},
                alsa) {
        facts_.format = card_.format();
        facts_.rate = card_.rate();
        source_ = convertedSource(std::make_unique<CardRecording>(card_, facts_), request);
    }

    int channels() const override { return source_->channels(); }
    std::optional<double> rate() const override { return facts_.rate; }

    void feed(LiveRing& ring) override {
        const auto channels = static_cast<std::size_t>(source_->channels());
        feed_ = std::make_unique<LossyFeed>(ring, width_, channels, fill_);
        const std::size_t most = 2 * Recording::blockSize * channels;
        std::vector<std::byte> elements(most * width_);
        card_.start();
        while (!ring.closed.load(std::memory_order_seq_cst)) {
            endIfStopped(address_.text);
            const std::size_t got = source_->read(elements.data(), most);
            feed_->lose(card_.takeOverrun(), true);
            feed_->push(elements.data(), got / channels);
        }
    }

    Losses losses(std::uint64_t framesTaken) const override {
        return feed_ == nullptr ? Losses{} : feed_->before(framesTaken);
    }

 private:
    // A card has as many channels as it is asked for: of one that is chosen, as many as it takes.
    static int channelsOf(const Address& address, const ReadRequest& request) {
        if (request.channel && request.elements == 0 && *request.channel >= 1 && *request.channel <= maxChannels)
            return static_cast<int>(*request.channel);
        return rawChannels(request, address.text);
    }

    Address address_;
    std::size_t width_;
    bool fill_;
    RecordingFacts facts_;
    Card card_;
    std::unique_ptr<Source> source_;
    std::unique_ptr<LossyFeed> feed_;
};

}  // namespace

std::unique_ptr<Feeder> cardFeeder(const Address& address, const ReadRequest& request, const LiveSettings& settings,
                                   const AlsaCalls& alsa) {
    return std::make_unique<CardFeeder>(address, request, settings, alsa);
}

}  // namespace libzepl
