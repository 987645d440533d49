// Sound cards, to record and to play by.
#pragma once

#include <poll.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "runtime/element_type.h"
#include "runtime/files/convert.h"
#include "runtime/live/address.h"
#include "runtime/live/alsa.h"

namespace libzepl {

struct CardRequest {
    bool toRecord = true;
    ElementType type = ElementType::int16;  // of the pipe
    bool converts = false;                  // any samples will do, since a conversion was asked for
    int channels = 1;
    std::optional<double> rate{};  // frames a second
};

// A device that is open and set up, and neither waits in a call nor resamples. A Problem says what it does not do.
class Card {
 public:
    Card(const Address& address, const CardRequest& request, const AlsaCalls& alsa);
    ~Card();
    Card(const Card&) = delete;
    Card& operator=(const Card&) = delete;

    SampleFormat format() const { return format_; }
    std::size_t frameBytes() const { return frameBytes_; }
    std::size_t bufferFrames() const { return bufferFrames_; }
    double rate() const { return rate_; }

    void start();
    // What one call gives or takes of so many frames. 0 where there is nothing yet.
    std::size_t read(void* to, std::size_t frames);
    std::size_t write(const void* from, std::size_t frames);
    // Waits until there is something to read, or room; Interrupted when a stop is requested.
    void await();
    // Plays all that was written.
    void drain();

    // Frames that nobody took in time, since this was last asked, by the card's clock.
    std::uint64_t takeOverrun() { return std::exchange(overrun_, 0); }
    // How often it had nothing to play.
    std::uint64_t underruns() const { return underruns_; }

 private:
    struct Sample {
        snd_pcm_format_t code;
        const char* name;
        SampleFormat format;
    };
    static const std::vector<Sample>& samples();

    void setUp(const CardRequest& request);
    void setFormat(snd_pcm_hw_params_t* params, const CardRequest& request);
    void setChannels(snd_pcm_hw_params_t* params, int channels);
    void setRate(snd_pcm_hw_params_t* params, const CardRequest& request);
    void recover(int error);
    std::optional<timespec> triggerTime() const;
    void check(int result, const std::string& what) const;

    Address address_;
    const AlsaCalls& alsa_;
    snd_pcm_t* card_ = nullptr;
    bool toRecord_;
    SampleFormat format_;
    std::size_t frameBytes_ = 0, bufferFrames_ = 0;
    double rate_ = 0;
    std::uint64_t overrun_ = 0, underruns_ = 0;
};

}  // namespace libzepl
