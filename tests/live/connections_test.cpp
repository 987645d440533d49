// Sources and sinks that are connections, with peers that are slow, late, absent, or break off.

#include <future>
#include <random>
#include <thread>

#include "../runtime/files_support.h"
#include "peers.h"
#include "runtime/addresses.h"
#include "runtime/files/stream_wait.h"
#include "runtime/live.h"

namespace libzepl {
namespace {

class Connections : public FilesTest {
 protected:
    std::string socketAddress() const { return "unix://" + at("s").string(); }
    ReadRequest request(ElementType type = ElementType::int16, const std::string& format = {}) const {
        ReadRequest request{.path = socketAddress(), .type = type};
        request.format = format;
        return request;
    }

    // What the source gives when the peer sends the bytes in such pieces and closes.
    template <class Element>
    std::vector<Element> received(const ReadRequest& request, const std::string& bytes, std::size_t mostPiece,
                                  LiveSettings settings = {}) const {
        const Peer listener = Peer::listening(at("s"));
        std::thread sender([&] {
            std::mt19937 random(static_cast<unsigned>(mostPiece));
            Peer peer = listener.accept();
            for (std::size_t from = 0; from < bytes.size();) {
                const std::size_t n = 1 + random() % mostPiece;
                peer.send(std::string_view(bytes).substr(from, n));
                from += n;
            }
        });
        std::vector<Element> elements;
        std::string problem;
        try {
            const std::unique_ptr<Source> source = openLiveSource(request, settings);
            source->start();
            elements = elementsOf<Element>(*source);
        } catch (const Problem& thrown) {
            problem = thrown.what();
        }
        sender.join();
        std::filesystem::remove(at("s"));
        if (!problem.empty()) throw Problem(problem);
        return elements;
    }

    // The message of what the source gives in the end.
    static std::string problemOf(Source& source) {
        try {
            source.start();
            std::int16_t element = 0;
            while (source.read(&element, 1) > 0) {
            }
            return "none";
        } catch (const Problem& problem) {
            return std::string(problem.what()) + " | " + problem.remedy();
        }
    }
};

TEST_F(Connections, GiveWhatTheFileGivesHoweverTheBytesAreSplit) {
    std::vector<std::int16_t> samples(30001);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::int16_t>(i * 7919);
    for (const char* name : {"x.bin", "x.wav", "x.flac", "x.npy", "x.csv"}) {
        const auto sink = createSink({.path = at(name), .type = ElementType::int16, .rate = 8000, .name = "x"});
        sink->write(samples.data(), samples.size());
        sink->finish();
        std::string format = std::filesystem::path(name).extension().string().substr(1);
        if (format == "bin") format.clear();
        for (const std::size_t mostPiece : {1UL, 3UL, 1000UL, 100000UL}) {
            SCOPED_TRACE(std::string(name) + " in pieces of up to " + std::to_string(mostPiece));
            // A short stream shows as much of small pieces; one of CSV ends with a line.
            std::string bytes = bytesOf(name);
            if (mostPiece < 10 && !format.empty() && format != "csv") continue;
            if (mostPiece < 10) bytes.resize(format.empty() ? 3000 : bytes.find('\n', 3000) + 1);
            const auto got =
                received<std::int16_t>(request(ElementType::int16, format), bytes, mostPiece, {.capacity = 1000});
            put(std::string("cut-") + name, bytes);
            EXPECT_TRUE(got == elementsOf<std::int16_t>(reading(std::string("cut-") + name)));
        }
    }
}

TEST_F(Connections, ThatEndInsideASampleSaySo) {
    EXPECT_THROW(
        {
            try {
                received<double>(request(ElementType::float64), "0123456789a", 1);
            } catch (const Problem& problem) {
                EXPECT_EQ(problem.what(), socketAddress() + ": it ends with 3 bytes of an incomplete double sample");
                throw;
            }
        },
        Problem);
    ReadRequest partial = request(ElementType::float64);
    partial.partial = true;
    EXPECT_EQ(received<double>(partial, "0123456789a", 1).size(), 1U);
}

TEST_F(Connections, ArriveLateAndAreTakenAllTheSame) {
    const auto source = openLiveSource(request(), {});
    source->start();
    const Peer listener = Peer::listening(at("s"));
    Peer peer = listener.accept();
    peer.send("ab");
    peer.close();
    EXPECT_EQ(elementsOf<std::int16_t>(*source), std::vector<std::int16_t>{'a' + 256 * 'b'});
}

TEST_F(Connections, OfNobodyEndWithTheTime) {
    put("file", "");
    Peer deaf = Peer::local(SOCK_STREAM, 0);  // bound, so that nobody else gets the port
    const std::string port = std::to_string(deaf.port());
    const std::string wait = "; `timeout SECONDS` after the address waits longer";
    const std::string start = " | start the program that listens there" + wait;
    struct Case {
        std::string address, message;
    };
    for (const Case& each :
         {Case{socketAddress(), ": no connection within 0.02 seconds: there is no such socket" + start},
          {"tcp://127.0.0.1:" + port, ": no connection within 0.02 seconds: nobody listens there" + start},
          {"tcp-listen://:0", ": nobody connected within 0.02 seconds | start the other program" + wait},
          {"udp://:0", ": no datagram came in time | start the program that sends" + wait},
          {"unix://" + at("file").string(), ": is no socket | name the socket of the program that listens"}}) {
        ReadRequest asked = request();
        asked.path = each.address;
        EXPECT_EQ(problemOf(*openLiveSource(asked, {.timeout = 0.02})), each.address + each.message);
    }
    deaf.close();
}

TEST_F(Connections, AtAPortInUseAreRefusedAtOnce) {
    std::string where;
    const LiveSettings settings{.listening = [&](const std::string& address) { where = address; }};
    for (const std::string scheme : {"tcp-listen", "udp"}) {
        ReadRequest asked = request();
        asked.path = scheme + "://127.0.0.1:0";
        const auto first = openLiveSource(asked, settings);
        asked.path = where;
        try {
            openLiveSource(asked, settings);
            ADD_FAILURE() << where;
        } catch (const Problem& problem) {
            EXPECT_EQ(problem.what(), where + ": the port is in use");
        }
    }
}

TEST_F(Connections, HaveSettingsThatFitThem) {
    struct Case {
        std::string address, format;
        LiveSettings settings;
        std::string message;
    };
    for (const Case& each :
         {Case{"tcp://:5", "", {.fill = true}, "a connection waits, and loses nothing: `fill` has no use"},
          {"alsa:default", "", {.timeout = 1.0}, "a sound card is there or not: `timeout` has no use"},
          {"udp://:5", "wav", {}, "datagrams hold raw samples, in the pipe's type"},
          {"alsa:default", "csv", {}, "a sound card has samples, and no format of a file"},
          {"tcp://:5", "ogv", {}, "there is no format `ogv`"}}) {
        ReadRequest asked = request(ElementType::int16, each.format);
        asked.path = each.address;
        try {
            openLiveSource(asked, each.settings);
            ADD_FAILURE() << each.address;
        } catch (const Problem& problem) {
            EXPECT_EQ(problem.what(), each.address + ": " + each.message);
        }
    }
}

// A session that copies what it is fed to the address.
struct CopySession : TestSession {
    CopySession(const std::string& address, std::vector<std::int32_t> samples, const std::string& format = {}) {
        WriteRequest request{.path = address, .type = ElementType::int32, .rate = 1000};
        request.format = format;
        request.output.stream = openLiveStream(request, {});
        const PipeId pipe = input("x", std::move(samples));
        setOutput(pipe, createSink(request));
    }
};

TEST_F(Connections, GetWhatTheFileGets) {
    const std::vector<std::int32_t> samples = countUp(100000);
    for (const std::string format : {"", "wav", "csv", "au"}) {
        SCOPED_TRACE(format);
        const Peer listener = Peer::listening(at("s"));
        auto got = std::async(std::launch::async, [&] { return listener.accept().receiveAll(); });
        CopySession session(socketAddress(), samples, format);
        EXPECT_EQ(session.run().reason, "");
        const std::string bytes = got.get();
        std::filesystem::remove(at("s"));
        ReadRequest read = reading("got", ElementType::int32);
        put("got", bytes);
        read.format = format.empty() ? "raw" : format;
        EXPECT_TRUE(elementsOf<std::int32_t>(read) == samples);
    }
}

// Closed with something of the reader's unread, or come later, a connection would be reset, and what is under way thrown away.
TEST_F(Connections, GetAllOfItAlsoWhereTheReaderSendsSomethingToo) {
    const std::vector<std::int32_t> samples = countUp(2000000);
    Peer peer;
    TestSession session;
    WriteRequest request{.path = "tcp-listen://:0", .type = ElementType::int32};
    request.output.stream = openLiveStream(
        request, {.listening = [&](const std::string& address) { peer = Peer::local(SOCK_STREAM, portOf(address)); }});
    session.setOutput(session.input("x", samples), createSink(request));
    auto got = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        std::size_t bytes = 0;
        for (std::string piece = peer.receive(); !piece.empty(); piece = peer.receive()) {
            bytes += piece.size();
            peer.send("beat");
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
        return bytes;
    });
    EXPECT_EQ(session.run().reason, "");
    EXPECT_EQ(got.get(), samples.size() * sizeof(std::int32_t));
}

TEST_F(Connections, ThatCloseFailTheRunAndNameTheOutput) {
    const Peer listener = Peer::listening(at("s"));
    std::thread peer([&] { listener.accept(); });
    CopySession session(socketAddress(), countUp(1000000));
    const Report report = session.run();
    peer.join();
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(report.reason, socketAddress() + ": its reader has closed the connection");
    EXPECT_EQ(report.channel, "x");
}

TEST_F(Connections, ThatStallHoldTheSessionUntilItIsStopped) {
    const Peer listener = Peer::listening(at("s"));
    CopySession session(socketAddress(), countUp(1000000));
    auto report = std::async(std::launch::async, [&] { return session.run(); });
    const Peer peer = listener.accept();
    EXPECT_FALSE(peer.receive().empty());  // the run is under way, and fills what the system keeps
    while (session.snapshot(std::chrono::milliseconds(200)).isCurrent) continue;
    session.requestStop();
    const Report stopped = report.get();
    EXPECT_EQ(stopped.status, Report::Status::interrupted);
    EXPECT_EQ(stopped.notes.back(), "the end of `x` is lost: " + socketAddress() +
                                        " took no more of it when the run "
                                        "was stopped");
}

TEST_F(Connections, GiveEachPipeOfAnArrayItsChannel) {
    const Peer listener = Peer::listening(at("s"));
    ReadRequest both = request();
    both.interleaved = 2;
    TestSession session;
    const PipeId left = session.pipe("left", {}, ElementType::int16),
                 right = session.pipe("right", {}, ElementType::int16);
    session.setInputs({{left, 1}, {right, 2}}, openLiveSource(both, {}));
    session.collect(left);
    session.collect(right);
    auto report = std::async(std::launch::async, [&] { return session.run(); });
    Peer peer = listener.accept();
    for (const char* piece : {"aabbc", "cdd", "eeff"}) peer.send(piece);
    peer.close();
    EXPECT_EQ(report.get().reason, "");
    EXPECT_EQ(textOf(session.collected<std::int16_t>(left)), "aaccee");
    EXPECT_EQ(textOf(session.collected<std::int16_t>(right)), "bbddff");
}

TEST_F(Connections, AreLeftInEveryWaitWhenAStopIsRequested) {
    Peer silent = Peer::listening(at("s"));
    for (const std::string& address :
         {socketAddress(), "unix://" + at("none").string(), std::string("tcp-listen://:0"), std::string("udp://:0")}) {
        SCOPED_TRACE(address);
        ReadRequest asked = request();
        asked.path = address;
        TestSession session;
        const PipeId pipe = session.pipe("x", {}, ElementType::int16);
        session.setInput(pipe, openLiveSource(asked, {}));
        session.collect(pipe);
        auto report = std::async(std::launch::async, [&] { return session.run(); });
        session.requestStop();
        EXPECT_EQ(report.get().status, Report::Status::interrupted);
    }
    StopRequest stop;
    stop.request();
    const WaitScope waiting(stop);
    for (const std::string& address : {"unix://" + at("none").string(), std::string("tcp-listen://:0")}) {
        const auto stream = openLiveStream({.path = address}, {});
        EXPECT_THROW(stream->start(), Interrupted) << address;
        ReadRequest wave = request(ElementType::int16, "wav");
        wave.path = address;
        EXPECT_THROW(openLiveSource(wave, {}), Interrupted) << address;
    }
}

}  // namespace
}  // namespace libzepl
