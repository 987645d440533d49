#include "runtime/live/card.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

#include "runtime/files/stream_wait.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

constexpr unsigned bufferTime = 500'000, periodTime = 10'000;  // microseconds

using Kind = SampleFormat::Kind;

template <class Value, class Get>
Value asked(Get get) {
    Value value{};
    get(&value);
    return value;
}

}  // namespace

const std::vector<Card::Sample>& Card::samples() {
    static const std::vector<Sample> all{{SND_PCM_FORMAT_S16_LE, "int16", {Kind::signedInteger, 16}},
                                         {SND_PCM_FORMAT_S32_LE, "int32", {Kind::signedInteger, 32}},
                                         {SND_PCM_FORMAT_FLOAT_LE, "float", {Kind::real, 32}},
                                         {SND_PCM_FORMAT_FLOAT64_LE, "double", {Kind::real, 64}}};
    return all;
}

Card::Card(const Address& address, const CardRequest& request, const AlsaCalls& alsa)
    : address_(address), alsa_(alsa), toRecord_(request.toRecord) {
    const int result = alsa.open(&card_, address.name.c_str(),
                                 toRecord_ ? SND_PCM_STREAM_CAPTURE : SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
    if (result == -EBUSY)
        throw address_.problem("another program uses the device", "end it, or take a device that several can share");
    if (result < 0) {
        const std::vector<std::string> listed = cardsListed(alsa, toRecord_);
        const std::string list = joined(listed, " and ");
        throw address_.problem("the device cannot be opened: " + std::string(alsa.strerror(result)),
                               list.empty() ? "the system lists no device" : "the system lists " + list);
    }
    try {
        setUp(request);
    } catch (...) {
        alsa_.close(card_);
        throw;
    }
}

Card::~Card() {
    alsa_.drop(card_);
    alsa_.close(card_);
}

void Card::check(int result, const std::string& what) const {
    if (result < 0) throw address_.problem(what + ": " + alsa_.strerror(result));
}

void Card::setUp(const CardRequest& request) {
    snd_pcm_hw_params_t* made = nullptr;
    check(alsa_.mallocParams(&made), "the device cannot be set up");
    const std::unique_ptr<snd_pcm_hw_params_t, decltype(alsa_.freeParams)> params(made, alsa_.freeParams);
    check(alsa_.anyParams(card_, made), "the device cannot be set up");
    check(alsa_.setAccess(card_, made, SND_PCM_ACCESS_RW_INTERLEAVED), "the device gives no interleaved samples");
    setFormat(made, request);
    setChannels(made, request.channels);
    setRate(made, request);
    unsigned buffer = bufferTime, period = periodTime;
    alsa_.setPeriodTime(card_, made, &period, nullptr);
    alsa_.setBufferTime(card_, made, &buffer, nullptr);
    check(alsa_.setParams(card_, made), "the device cannot be set up");
    snd_pcm_uframes_t bufferFrames = 0, periodFrames = 0;
    check(alsa_.getParams(card_, &bufferFrames, &periodFrames), "the device cannot be set up");
    bufferFrames_ = bufferFrames;
}

// The pipe's own type, or, to record, the widest that fits it, or any where it is converted.
void Card::setFormat(snd_pcm_hw_params_t* params, const CardRequest& request) {
    const Sample* chosen = nullptr;
    std::vector<std::string> there;
    for (const Sample& sample : samples()) {
        if (alsa_.testFormat(card_, params, sample.code) != 0) continue;
        there.emplace_back(sample.name);
        const bool isOwn = sample.name == nameOf(request.type);
        const bool isHeld = request.toRecord && (request.converts || fits(sample.format, request.type));
        const bool isChosenOwn = chosen != nullptr && chosen->name == nameOf(request.type);
        if (isOwn || (isHeld && !isChosenOwn)) chosen = &sample;
    }
    if (chosen == nullptr)
        throw address_.problem("the device has no `" + std::string(nameOf(request.type)) + "` samples, but " +
                                   (there.empty() ? "others that are not known" : joined(there, " and ")),
                               request.toRecord
                                   ? "declare another type, or ask for `convert rounded` or `convert scaled`"
                                   : "declare another type; `alsa:plughw:...` devices convert by themselves");
    check(alsa_.setFormat(card_, params, chosen->code), "the device cannot be set up");
    format_ = chosen->format;
    frameBytes_ = static_cast<std::size_t>(format_.bits) / 8 * static_cast<std::size_t>(request.channels);
}

void Card::setChannels(snd_pcm_hw_params_t* params, int channels) {
    if (alsa_.setChannels(card_, params, static_cast<unsigned>(channels)) >= 0) return;
    const auto least = asked<unsigned>([&](unsigned* to) { alsa_.minChannels(params, to); });
    const auto most = asked<unsigned>([&](unsigned* to) { alsa_.maxChannels(params, to); });
    const std::string range =
        least == most ? std::to_string(most) : std::to_string(least) + " to " + std::to_string(most);
    throw address_.problem("the device has " + range + " channels, and not " + std::to_string(channels),
                           "declare an array of as many pipes, or `interleaved`, with a number that it has");
}

void Card::setRate(snd_pcm_hw_params_t* params, const CardRequest& request) {
    if (!request.rate)
        throw address_.problem("the rate of the sound card is not said",
                               "give it: `rate R` in the procedure, or after the address");
    const bool isWhole = *request.rate == std::floor(*request.rate) && *request.rate < 1e9;
    alsa_.setResampling(card_, params, 0);
    rate_ = *request.rate;
    if (isWhole && alsa_.setRate(card_, params, static_cast<unsigned>(rate_), 0) >= 0) return;
    int direction = 0;
    const auto least = asked<unsigned>([&](unsigned* to) { alsa_.minRate(params, to, &direction); });
    const auto most = asked<unsigned>([&](unsigned* to) { alsa_.maxRate(params, to, &direction); });
    throw address_.problem("the device has no such rate", "it has rates from " + std::to_string(least) + " to " +
                                                              std::to_string(most) + " frames a second, but not each");
}

void Card::start() {
    if (alsa_.state(card_) == SND_PCM_STATE_PREPARED) check(alsa_.start(card_), "the device cannot be started");
}

void Card::await() {
    endIfStopped(address_.text);
    const int count = alsa_.descriptorCount(card_);
    std::vector<pollfd> awaited(static_cast<std::size_t>(std::max(count, 0)));
    alsa_.descriptors(card_, awaited.data(), static_cast<unsigned>(awaited.size()));
    // Some devices have events that nothing follows, so it is looked again soon.
    awaitEvents(awaited, std::chrono::steady_clock::now() + std::chrono::milliseconds(50));
    endIfStopped(address_.text);
}

std::optional<timespec> Card::triggerTime() const {
    snd_pcm_status_t* made = nullptr;
    if (alsa_.mallocStatus(&made) < 0) return std::nullopt;
    const std::unique_ptr<snd_pcm_status_t, decltype(alsa_.freeStatus)> status(made, alsa_.freeStatus);
    if (alsa_.status(card_, made) < 0) return std::nullopt;
    timespec time{};
    alsa_.triggerTime(made, &time);
    return time;
}

// After an overrun the device starts again, without what its buffer held and what came until then.
void Card::recover(int error) {
    if (error == -EAGAIN || error == -EINTR) return;
    if (error == -ENODEV || error == -EBADFD)
        throw address_.problem("the device is gone", "was it unplugged? connect it and start again");
    if (error != -EPIPE && error != -ESTRPIPE) check(error, toRecord_ ? "cannot be recorded" : "cannot be played");
    const std::optional<timespec> stopped = triggerTime();
    if (error != -ESTRPIPE || alsa_.resume(card_) < 0)
        check(alsa_.prepare(card_), "the device cannot be started again");
    if (!toRecord_) {
        ++underruns_;
        return;
    }
    start();
    const std::optional<timespec> started = triggerTime();
    overrun_ += bufferFrames_;
    if (!stopped || !started) return;
    const double seconds = static_cast<double>(started->tv_sec - stopped->tv_sec) +
                           1e-9 * static_cast<double>(started->tv_nsec - stopped->tv_nsec);
    if (seconds > 0 && seconds < 1e6) overrun_ += static_cast<std::uint64_t>(std::llround(seconds * rate_));
}

std::size_t Card::read(void* to, std::size_t frames) {
    const snd_pcm_sframes_t got = alsa_.readFrames(card_, to, std::min(frames, bufferFrames_));
    if (got >= 0) return static_cast<std::size_t>(got);
    recover(static_cast<int>(got));
    return 0;
}

std::size_t Card::write(const void* from, std::size_t frames) {
    const snd_pcm_sframes_t took = alsa_.writeFrames(card_, from, std::min(frames, bufferFrames_));
    if (took >= 0) return static_cast<std::size_t>(took);
    recover(static_cast<int>(took));
    return 0;
}

void Card::drain() {
    while (alsa_.drain(card_) == -EAGAIN) await();
}

}  // namespace libzepl
