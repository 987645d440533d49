// What is lost where a source cannot wait: how much, and where.

#include "runtime/live/loss.h"

#include <atomic>
#include <thread>

#include "peers.h"
#include "runtime/live/feeders.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

using Samples = std::vector<std::int16_t>;

Samples taken(LiveRing& ring, std::size_t count) {
    Samples samples(count);
    samples.resize(ring.take(samples.data(), count));
    return samples;
}

// "8:7 20:1" for the gaps.
std::string textOf(const Losses& losses) {
    std::string text;
    for (const Gap& gap : losses.gaps)
        text += (text.empty() ? "" : " ") + std::to_string(gap.frame) + ":" + std::to_string(gap.lost);
    return text;
}

void push(LossyFeed& feed, const Samples& samples, std::size_t channels = 1) {
    feed.push(samples.data(), samples.size() / channels);
}

TEST(LossyFeed, CountsWhatHasNoRoomWhereItIs) {
    LiveRing ring(8, 2);
    LossyFeed feed(ring, 2, 1, false);
    push(feed, {1, 2, 3, 4, 5});
    push(feed, {6, 7, 8, 9, 10});  // two of them too many
    push(feed, {11});
    EXPECT_EQ(taken(ring, 3), (Samples{1, 2, 3}));
    push(feed, {12, 13, 14, 15});  // one too many
    EXPECT_EQ(taken(ring, 100), (Samples{4, 5, 6, 7, 8, 12, 13, 14}));
    push(feed, {16});
    EXPECT_EQ(textOf(feed.before(100)), "8:3 11:1");
    EXPECT_EQ(feed.before(100).frames, 4U);
    EXPECT_EQ(textOf(feed.before(11)), "8:3") << "what was not reached is not lost";
    EXPECT_EQ(feed.before(8).frames, 0U);
}

TEST(LossyFeed, KeepsTimeByZerosAsSoonAsThereIsRoom) {
    LiveRing ring(4, 2);
    LossyFeed feed(ring, 2, 1, true);
    push(feed, {1, 2, 3, 4, 5, 6});
    push(feed, {7});
    EXPECT_EQ(taken(ring, 2), (Samples{1, 2}));
    push(feed, {8, 9});  // room for two zeros of three: the gap goes on
    EXPECT_EQ(taken(ring, 4), (Samples{3, 4, 0, 0}));
    push(feed, {10});
    EXPECT_EQ(taken(ring, 4), (Samples{0, 0, 0, 10}));
    push(feed, {11, 12});
    EXPECT_EQ(taken(ring, 4), (Samples{11, 12}));
    EXPECT_EQ(textOf(feed.before(100)), "4:5");
    EXPECT_TRUE(feed.before(100).isFilled);
}

TEST(LossyFeed, LosesWholeFrames) {
    LiveRing ring(8, 2);  // two frames of three channels, and two elements
    LossyFeed feed(ring, 2, 3, false);
    push(feed, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 3);
    EXPECT_EQ(taken(ring, 100), (Samples{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(textOf(feed.before(3)), "2:1");
}

TEST(LossyFeed, KeepsThePlacesOfTheFirstThousandGaps) {
    LiveRing ring(1, 2);
    LossyFeed feed(ring, 2, 1, false);
    for (int i = 0; i < 1500; ++i) {
        push(feed, {1, 2, 3});
        taken(ring, 1);
    }
    const Losses losses = feed.before(2000);
    EXPECT_EQ(losses.gaps.size(), 1000U);
    EXPECT_EQ(losses.places, 1500U);
    EXPECT_EQ(losses.frames, 3000U);
}

// A feeder of datagrams, and the socket that sends them to it.
struct Datagrams {
    explicit Datagrams(LiveSettings settings = {}, std::int64_t channels = 1) {
        settings.listening = [this](const std::string& address) { sender = Peer::local(SOCK_DGRAM, portOf(address)); };
        ReadRequest request{.path = "udp://:0", .type = ElementType::int16};
        request.interleaved = channels;
        feeder = datagramFeeder(parseAddress("udp://:0"), request, settings);
    }
    void send(const Samples& samples) const { sender.sendDatagram(libzepl::textOf(samples)); }

    Peer sender;
    std::unique_ptr<Feeder> feeder;
};

TEST(Datagrams, LoseWhatTheSessionDoesNotTakeInTime) {
    for (const bool fill : {false, true}) {
        Datagrams datagrams({.fill = fill}, 2);
        for (std::int16_t i = 0; i < 3; ++i) datagrams.send({i, i, i, i, i, i});
        datagrams.send({});
        LiveRing ring(8, 2);
        datagrams.feeder->feed(ring);  // the session takes nothing in the meantime
        EXPECT_EQ(taken(ring, 100), (Samples{0, 0, 0, 0, 0, 0, 1, 1}));
        const Losses losses = datagrams.feeder->losses(4);
        EXPECT_EQ(textOf(losses), "4:5");
        EXPECT_EQ(losses.isFilled, fill);
        EXPECT_FALSE(losses.isEstimated);
    }
}

TEST(Datagrams, ThatTheSystemDropsAreCountedAsTheOneBefore) {
    constexpr std::size_t sent = 20000, perDatagram = 500;
    Datagrams datagrams;
    for (std::size_t i = 0; i < sent; ++i) datagrams.send(Samples(perDatagram, 1));
    LiveRing ring(sent * perDatagram, 2);
    std::atomic<bool> isDone{false};
    std::thread reader([&] {
        datagrams.feeder->feed(ring);
        isDone = true;
    });
    std::size_t ends = 0;  // each may be dropped as well
    for (; !isDone; ++ends) datagrams.send({});
    reader.join();
    const std::size_t came = taken(ring, sent * perDatagram).size();
    const Losses losses = datagrams.feeder->losses(came);
    EXPECT_TRUE(losses.isEstimated);
    EXPECT_LT(came, sent * perDatagram);
    EXPECT_GE(came + losses.frames, sent * perDatagram);
    EXPECT_LE(came + losses.frames, (sent + ends) * perDatagram);
    EXPECT_EQ(losses.frames % perDatagram, 0U);
}

TEST(Datagrams, ThatTheSystemDropsLastAreCountedWhenTheRunIsStopped) {
    constexpr std::size_t sent = 20000, perDatagram = 500;
    Datagrams datagrams;
    for (std::size_t i = 0; i < sent; ++i) datagrams.send(Samples(perDatagram, 1));
    LiveRing ring(sent * perDatagram, 2);
    StopRequest stop;
    const WaitScope waiting(stop, [&] { stop.request(); });  // all that the system kept has come
    EXPECT_THROW(datagrams.feeder->feed(ring), Interrupted);
    const std::size_t came = taken(ring, sent * perDatagram).size();
    EXPECT_LT(came, sent * perDatagram);
    EXPECT_EQ(came + datagrams.feeder->losses(came).frames, sent * perDatagram);
}

TEST(Datagrams, HoldWholeFrames) {
    Datagrams datagrams({}, 2);
    datagrams.send({1, 2, 3});
    LiveRing ring(8, 2);
    try {
        datagrams.feeder->feed(ring);
        ADD_FAILURE();
    } catch (const Problem& problem) {
        EXPECT_STREQ(problem.what(), "udp://:0: a datagram of 6 bytes is no whole number of frames, of 4 bytes each");
    }
}

TEST(Datagrams, GoFromOneSessionToAnother) {
    std::string where;
    ReadRequest request{.path = "udp://:0", .type = ElementType::int32};
    const auto source = openLiveSource(request, {.listening = [&](const std::string& address) { where = address; }});
    TestSession sender;
    WriteRequest write{.path = where, .type = ElementType::int32};
    write.output.stream = openLiveStream(write, {});
    sender.setOutput(sender.input("x", countUp(1000)), createSink(write));
    EXPECT_EQ(sender.run().reason, "");
    source->start();
    std::vector<std::int32_t> got(2000);
    std::size_t count = 0;
    while (const std::size_t n = source->read(got.data() + count, got.size() - count)) count += n;
    got.resize(count);
    EXPECT_EQ(got, countUp(1000));
}

}  // namespace
}  // namespace libzepl
