// Sound cards: those of the sound system's own that are files, and one that fails when it is told to.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <span>
#include <thread>

#include "../runtime/files_support.h"
#include "peers.h"
#include "runtime/addresses.h"
#include "runtime/live/card_feeder.h"
#include "runtime/live/output_streams.h"

namespace libzepl {
namespace {

using Samples = std::vector<std::int16_t>;

class Cards : public FilesTest {
 protected:
    Cards() {
        put("asound.conf",
            "pcm.quiet { type null }\n"
            "pcm.recorder { type file slave.pcm quiet file /dev/null infile \"" +
                at("in").string() + "\" format raw }\n" + "pcm.player { type file slave.pcm quiet file \"" +
                at("out").string() + "\" format raw }\n");
        ::setenv("ALSA_CONFIG_PATH", at("asound.conf").c_str(), 1);
    }

    static ReadRequest recording(const std::string& device, ElementType type = ElementType::int16) {
        return {.path = "alsa:" + device, .type = type};
    }
    template <class Element>
    static std::vector<Element> firstOf(Source& source, std::size_t count) {
        std::vector<Element> elements(count);
        std::size_t done = 0;
        source.start();
        while (done < count) done += source.read(elements.data() + done, count - done);
        return elements;
    }
};

TEST_F(Cards, RecordWhatTheyHear) {
    Samples heard(20000);
    for (std::size_t i = 0; i < heard.size(); ++i) heard[i] = static_cast<std::int16_t>(i * 7919);
    put("in", textOf(heard));
    const auto source = openLiveSource(recording("recorder"), {.rate = 48000});
    EXPECT_EQ(source->rate(), 48000);
    EXPECT_EQ(firstOf<std::int16_t>(*source, heard.size()), heard);
    source->stop();
    EXPECT_EQ(source->losses().frames, 0U) << "what the session did not reach is not lost";
}

TEST_F(Cards, RecordEachChannelOfSeveral) {
    Samples heard;
    for (std::int16_t i = 0; i < 1000; ++i) heard.insert(heard.end(), {i, static_cast<std::int16_t>(-i)});
    put("in", textOf(heard));
    ReadRequest both = recording("recorder"), second = both;
    both.interleaved = 2;
    second.channel = 2;
    EXPECT_EQ(firstOf<std::int16_t>(*openLiveSource(both, {.rate = 8000}), heard.size()), heard);
    const Samples right = firstOf<std::int16_t>(*openLiveSource(second, {.rate = 8000}), 1000);
    for (std::size_t i = 0; i < right.size(); ++i) ASSERT_EQ(right[i], heard[2 * i + 1]);
}

TEST_F(Cards, PlayWhatTheyAreGiven) {
    for (const int channels : {1, 2}) {
        TestSession session;
        WriteRequest request{.path = "alsa:player", .type = ElementType::int32};
        request.channels = channels;
        request.output.stream = openLiveStream(request, {.rate = 44100});
        session.setOutput(session.input("x", countUp(60000)), createSink(request));
        EXPECT_EQ(session.run().reason, "");
        EXPECT_TRUE(bytesOf("out") == textOf(countUp(60000))) << channels;
    }
}

TEST_F(Cards, ThatCannotBeUsedSayWhatTheyDo) {
    struct Case {
        std::string device;
        ElementType type;
        std::optional<double> rate;
        std::string message;
    };
    for (const Case& each :
         {Case{"quiet", ElementType::int16, {}, "the rate of the sound card is not said"},
          {"quiet", ElementType::int16, 44100.5, "the device has no such rate"},
          {"nothing", ElementType::int16, 8000, "the device cannot be opened: No such file or directory"}}) {
        try {
            openLiveSource(recording(each.device, each.type), {.rate = each.rate});
            ADD_FAILURE() << each.device;
        } catch (const Problem& problem) {
            EXPECT_EQ(problem.what(), "alsa:" + each.device + ": " + each.message);
        }
    }
}

// Keeps what it is given but for silence, and calls `heard` when that makes `count` samples.
class ListeningSink final : public Sink {
 public:
    ListeningSink(Samples& samples, std::size_t count, std::function<void()> heard)
        : samples_(samples), count_(count), heard_(std::move(heard)) {}
    void write(const void* from, std::size_t n) override {
        const std::span given(static_cast<const std::int16_t*>(from), n);
        for (const std::int16_t sample : given) {
            if (sample == 0 || samples_.size() == count_) continue;
            samples_.push_back(sample);
            if (samples_.size() == count_) heard_();
        }
    }
    void finish() override {}

 private:
    Samples& samples_;
    std::size_t count_;
    std::function<void()> heard_;
};

// A microphone that hears the loudspeaker: both are one FIFO. The recorder fills up with silence what the player has not given,
// and waits where that is nothing at all, so that silence follows in the end; the player keeps its last half second until then.
TEST_F(Cards, HearWhatTheSameRunPlays) {
    ASSERT_EQ(::mkfifo(at("in").c_str(), 0600), 0);
    std::filesystem::create_symlink(at("in"), at("out"));
    const int fifo = ::open(at("in").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(fifo, 0);
    Samples played, heard;
    while (played.size() < 50000) played.push_back(static_cast<std::int16_t>((played.size() + 1) * 7919));
    constexpr std::size_t count = 40000;
    std::jthread silence;
    const auto fallSilent = [fifo](const std::stop_token& stop) {
        std::array<char, 4096> zeros{};
        while (!stop.stop_requested())
            if (::write(fifo, zeros.data(), zeros.size()) < 0) (void)!::read(fifo, zeros.data(), zeros.size());
    };
    TestSession session({.rate = 8000});
    const PipeId microphone = session.addPipe({.name = "microphone", .type = ElementType::int16});
    session.setInput(microphone, openLiveSource(recording("recorder"), {.rate = 8000}));
    session.setOutput(microphone, std::make_unique<ListeningSink>(heard, count, [&] {
                          silence = std::jthread(fallSilent);
                          session.requestStop();
                      }));
    WriteRequest request{.path = "alsa:player", .type = ElementType::int16};
    request.output.stream = openLiveStream(request, {.rate = 8000});
    session.setOutput(session.input("speaker", played), createSink(request));
    EXPECT_EQ(session.run().status, Report::Status::interrupted);
    silence = std::jthread();
    ::close(fifo);
    played.resize(count);
    EXPECT_TRUE(heard == played);
}

// A card whose third read finds that its buffer ran over, half a second before it starts again.
struct Overrun {
    static inline int reads = 0, looks = 0;
    static AlsaCalls calls() {
        AlsaCalls calls = alsaCalls();
        reads = looks = 0;
        calls.readFrames = [](snd_pcm_t*, void* to, snd_pcm_uframes_t frames) -> snd_pcm_sframes_t {
            if (++reads == 3) return -EPIPE;
            if (reads == 5) return -ENODEV;
            std::memset(to, reads, frames * sizeof(std::int16_t));
            return static_cast<snd_pcm_sframes_t>(std::min<snd_pcm_uframes_t>(frames, 100));
        };
        calls.triggerTime = [](const snd_pcm_status_t*, snd_htimestamp_t* time) {
            *time = {.tv_sec = 7, .tv_nsec = 500'000'000 * looks++};
        };
        return calls;
    }
};

TEST_F(Cards, ThatRunOverLoseTheirBufferAndTheTimeSince) {
    for (const bool fill : {false, true}) {
        const AlsaCalls calls = Overrun::calls();
        const auto feeder =
            cardFeeder(parseAddress("alsa:quiet"), recording("quiet"), {.rate = 8000, .fill = fill}, calls);
        LiveRing ring(100000, 2);
        try {
            feeder->feed(ring);
            ADD_FAILURE();
        } catch (const Problem& problem) {
            EXPECT_STREQ(problem.what(), "alsa:quiet: the device is gone");
        }
        const Losses losses = feeder->losses(300);
        constexpr std::uint64_t buffer = 4000;  // half a second
        EXPECT_EQ(losses.frames, buffer + 4000);
        EXPECT_EQ(losses.gaps.front().frame, 200U);
        EXPECT_TRUE(losses.isEstimated);
        EXPECT_EQ(ring.samples.available(), 300 + (fill ? losses.frames : 0));
    }
}

}  // namespace
}  // namespace libzepl
