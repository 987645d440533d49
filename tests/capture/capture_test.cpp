// What a capture keeps, what a replay says of it, and what becomes of captures that are damaged.

#include "runtime/capture.h"

#include "runtime/capture/events.h"
#include "runtime/capture/sums.h"
#include "tests/runtime/files_support.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

class CaptureTest : public FilesTest {
 protected:
    static TestSession& addAbs(TestSession& session) {
        const PipeId source = session.pipe("source"), result = session.output("result");
        session.task("ABS", source, result);
        return session;
    }
    // Captures 10,000 samples through ABS in blocks of 64.
    void captureAbs(const std::string& name) const {
        TestSession session({.block = 64});
        addAbs(session).feed<std::int32_t>(session.pipeNamed("source"), countUp(10000, -5000));
        Capture capture(at(name));
        capture.attach(session);
        session.run();
        EXPECT_FALSE(capture.failure());
    }
    ReplayResult replayed(const std::string& name, const ReplaySettings& settings = {}) const {
        TestSession session({.block = 64});
        addAbs(session);
        Replay replay(at(name));
        replay.attach(session, settings);
        session.run();
        return replay.result();
    }
    static std::string refusalOf(const std::function<void()>& step) {
        try {
            step();
        } catch (const Problem& problem) {
            return problem.what();
        }
        return "none";
    }
};

TEST_F(CaptureTest, RunsOfEqualDeliveriesTakeFewBytes) {
    captureAbs("run");
    // 9 bytes for each point of the output, and a few for all deliveries together.
    EXPECT_LT(std::filesystem::file_size(at("run") / "events"), 10000 / 64 * 9 + 200);
    EXPECT_EQ(std::filesystem::file_size(at("run") / "elements"), 40000U);
    EXPECT_FALSE(std::filesystem::exists(at("run") / "ring"));
}

TEST_F(CaptureTest, AReplayStopsAtTheEndOfARound) {
    captureAbs("run");
    const ReplayResult whole = replayed("run"), part = replayed("run", {.until = 20});
    EXPECT_TRUE(whole.isSame && part.isSame);
    EXPECT_EQ(whole.outputs.at(0).count, 10000U);
    EXPECT_EQ(part.lastRound, 20U);
    EXPECT_LT(part.outputs.at(0).count, 2000U);
    EXPECT_GT(part.outputs.at(0).count, 0U);
}

TEST_F(CaptureTest, AnotherResultIsNamedByOutputSampleAndRound) {
    captureAbs("run");
    TestSession session({.block = 64});
    const PipeId source = session.pipe("source"), result = session.output("result");
    // The first sample, -5000, is below the lower limit.
    session.task("BOUND", source, int32Constant(-4700), int32Constant(4000), result);
    Replay replay(at("run"));
    replay.attach(session, {});
    session.run();
    const ReplayResult differing = replay.result();
    EXPECT_FALSE(differing.isSame);
    const ReplayedOutput& output = differing.outputs.at(differing.firstDifferent);
    EXPECT_EQ(output.name, "result");
    EXPECT_EQ(output.first, 1U);
    EXPECT_GE(output.last, 1U);
    EXPECT_LE(output.last, 256U);
    EXPECT_GT(output.round, 0U);
}

TEST_F(CaptureTest, AFolderWithSomethingInItIsRefused) {
    captureAbs("run");
    put("file", "");
    EXPECT_EQ(refusalOf([&] { Capture again(at("run")); }),
              at("run").string() + ": the folder has something in it, which a capture does not replace");
    for (const char* name : {"", "-"})
        EXPECT_EQ(refusalOf([&] { Capture none(name); }), "a capture has several files, and needs a folder for them");
    EXPECT_EQ(refusalOf([&] { Capture file(at("file")); }),
              at("file").string() + ": this is a file, and a capture needs a folder");
    EXPECT_EQ(refusalOf([&] { Replay none(at("nowhere")); }),
              at("nowhere").string() + ": this is no capture: it has no file `run`");
}

TEST_F(CaptureTest, NoDamageIsTakenForARun) {
    captureAbs("run");
    const std::string whole = bytesOf("run/run");
    std::string another = whole;
    another[std::strlen("zepl capture\n")] = 1;
    put("run/run", another);
    EXPECT_EQ(refusalOf([&] { Replay replay(at("run")); }),
              at("run/run").string() + ": the capture is of format 1, and this program reads format 2");
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::string changed = whole;
        changed[i] = static_cast<char>(changed[i] ^ 0x10);
        put("run/run", changed);
        EXPECT_NE(refusalOf([&] { Replay replay(at("run")); }), "none") << "byte " << i;
        put("run/run", whole.substr(0, i));
        EXPECT_NE(refusalOf([&] { Replay replay(at("run")); }), "none") << "cut to " << i;
    }
}

// What a copy that was cut short lacks is said, and the rest is the run's.
TEST_F(CaptureTest, FilesThatAreCutAreReplayedAsFarAsTheyGo) {
    captureAbs("run");
    for (const char* name : {"run/events", "run/elements"}) {
        const std::string whole = bytesOf(name);
        std::uint64_t count = 0;
        for (std::size_t size = 0; size < whole.size(); size += size < 100 ? 1 : whole.size() / 50) {
            put(name, whole.substr(0, size));
            const std::string note = Replay(at("run")).notes(testLibrary()).at(0);
            EXPECT_NE(note.find(&name[4]), std::string::npos) << note;
            const ReplayResult result = replayed("run");
            EXPECT_TRUE(result.isSame) << name << " cut to " << size;
            EXPECT_GE(result.outputs.at(0).count, count);
            count = result.outputs.at(0).count;
        }
        EXPECT_GT(count, 9000U) << name;
        put(name, whole);
    }
}

TEST_F(CaptureTest, EachIsForOneRun) {
    captureAbs("run");
    TestSession session, other;
    addAbs(session).feed<std::int32_t>(session.pipeNamed("source"), countUp(10, 0));
    addAbs(other);
    {
        Capture capture(at("again")), second(at("second"));
        capture.attach(session);
        EXPECT_EQ(refusalOf([&] { capture.attach(other); }), "a capture is attached that keeps another session's run");
        EXPECT_EQ(refusalOf([&] { second.attach(session); }),
                  "a session is captured that has a capture or a replay already");
        EXPECT_FALSE(std::filesystem::exists(at("second")));
        session.run();
    }
    EXPECT_TRUE(Replay(at("again")).notes(testLibrary()).empty());
    Replay replay(at("run"));
    const char* early = "a replay's result is asked for before its run has ended";
    EXPECT_EQ(refusalOf([&] { replay.result(); }), early);
    replay.attach(other, {});
    EXPECT_EQ(refusalOf([&] { replay.result(); }), early);
    TestSession third;
    addAbs(third);
    EXPECT_EQ(refusalOf([&] { replay.attach(third, {}); }), "a replay is attached that another session has");
    EXPECT_EQ(refusalOf([&] { Replay(at("run")).attach(other, {}); }),
              "a run is to be replayed in a session that has a capture or a replay already");
}

TEST_F(CaptureTest, OneWhoseSessionNeverRunsLeavesNothing) {
    put("file", "");
    {
        TestSession session;
        Capture capture(at("run"));
        capture.attach(addAbs(session));
        EXPECT_TRUE(std::filesystem::exists(at("run/ring")));
        TestSession other;
        Capture none(at("file/run"));
        EXPECT_EQ(refusalOf([&] { none.attach(addAbs(other)); }),
                  at("file/run").string() + ": the folder of the capture cannot be made: Not a directory");
    }
    EXPECT_FALSE(std::filesystem::exists(at("run")));
}

// In every file, at any byte: a bit that is another one, and bytes that are inserted, removed or another capture's.
TEST_F(CaptureTest, DamageIsNotTakenForAnotherResult) {
    captureAbs("run");
    std::mt19937_64 random(5);
    for (const char* name : {"run/events", "run/elements", "run/events.sums", "run/elements.sums"}) {
        const std::string whole = bytesOf(name), file = &name[4];
        for (int i = 0; i < 60; ++i) {
            const std::size_t place =
                i < 30 ? random() % whole.size() : random() % std::min<std::size_t>(300, whole.size());
            std::string flipped = whole, inserted = whole, removed = whole;
            flipped[place] = static_cast<char>(flipped[place] ^ 1 << random() % 8);
            inserted.insert(place, 1 + random() % 9, static_cast<char>(random()));
            removed.erase(place, 1 + random() % 9);
            for (const std::string& each : {flipped, inserted, removed, whole + whole, std::string()}) {
                if (each == whole) continue;
                SCOPED_TRACE(file + " at byte " + std::to_string(place) + ", " + std::to_string(each.size()));
                put(name, each);
                const std::string refusal = refusalOf([&] {
                    // What could be a file that was cut short is said to be one, and nothing wrong is taken from it.
                    const std::vector<std::string> notes = Replay(at("run")).notes(testLibrary());
                    EXPECT_TRUE(!notes.empty() && notes[0].find("its file `" + file) != std::string::npos);
                    EXPECT_TRUE(replayed("run").isSame);
                });
                const bool isLonger = each.size() >= whole.size() && file.find("sums") == std::string::npos;
                EXPECT_TRUE(!isLonger || refusal.find(file + ": it is damaged") != std::string::npos) << refusal;
            }
        }
        put(name, whole);
    }
    EXPECT_TRUE(replayed("run").isSame);
}

// Of 10,000 frames, without 3 before frame 100 and 5 before frame 9000.
class LossySource final : public Source {
 public:
    std::size_t read(void* to, std::size_t count) override {
        const std::size_t n = std::min(count, std::size_t{10000} - given_);
        std::memset(to, 1, n * sizeof(std::int32_t));
        given_ += n;
        return n;
    }
    std::optional<std::uint64_t> length() const override { return std::nullopt; }
    int channels() const override { return 1; }
    std::optional<double> rate() const override { return std::nullopt; }
    Losses losses() const override {
        return {.frames = 8, .places = 2, .gaps = {{100, 3}, {9000, 5}}, .isFilled = true, .isEstimated = true};
    }
    std::vector<std::string> notes() const override { return {"8 frames are lost"}; }

 private:
    std::size_t given_ = 0;
};

TEST_F(CaptureTest, FilesOfTwoCapturesAreRefused) {
    captureAbs("run");
    TestSession session({.block = 64});
    addAbs(session).feed<std::int32_t>(session.pipeNamed("source"), countUp(10000, 3));
    Capture capture(at("other"));
    capture.attach(session);
    session.run();
    for (const std::string name : {"events", "elements"}) {
        for (const std::string& each : {name, name + ".sums"}) {
            std::filesystem::rename(at("run/" + each), at("kept-" + each));
            std::filesystem::copy(at("other/" + each), at("run/" + each));
            EXPECT_NE(refusalOf([&] { Replay replay(at("run")); }), "none") << each;
        }
        for (const std::string& each : {name, name + ".sums"})
            std::filesystem::rename(at("kept-" + each), at("run/" + each));
    }
    EXPECT_TRUE(replayed("run").isSame);
}

TEST_F(CaptureTest, WhatAnInputLostIsKept) {
    TestSession session({.block = 64});
    addAbs(session).setInput(session.pipeNamed("source"), std::make_unique<LossySource>());
    Capture capture(at("run"));
    capture.attach(session);
    session.run();
    struct Case {
        ReplaySettings settings;
        std::uint64_t lost, places;
    };
    for (const Case& each : {Case{{}, 8, 2}, {{.until = 20}, 3, 1}}) {
        TestSession again({.block = 64});
        addAbs(again);
        Replay replay(at("run"));
        replay.attach(again, each.settings);
        const Report report = again.run();
        const Losses& losses = report.inputs.at(0).losses;
        EXPECT_EQ(losses.frames, each.lost);
        EXPECT_EQ(losses.places, each.places);
        EXPECT_EQ(losses.gaps.size(), each.places);
        EXPECT_TRUE(losses.isFilled && losses.isEstimated);
        EXPECT_EQ(std::count(report.notes.begin(), report.notes.end(), "of the captured run: 8 frames are lost"), 1);
    }
}

TEST_F(CaptureTest, AModuleThatIsNotLoadedIsNoted) {
    captureAbs("run");
    const CommandLibrary none;
    std::string notes;
    for (const std::string& note : Replay(at("run")).notes(none)) notes += note + "\n";
    EXPECT_NE(notes.find("the run had the module zcmds3, which is not loaded"), std::string::npos) << notes;
    EXPECT_EQ(Replay(at("run")).notes(testLibrary()), std::vector<std::string>());
}

TEST(PrefixSums, DependOnEveryByteAndOnNoCut) {
    const std::vector<std::int16_t> samples = randomBits<std::int16_t>(5000, 1);
    PrefixSum whole;
    whole.add(samples.data(), 10000);
    std::mt19937_64 random(2);
    PrefixSum cut;
    for (std::size_t at = 0; at < 5000;) {
        const std::size_t n = std::min<std::size_t>(random() % 50, 5000 - at);
        cut.add(samples.data() + at, 2 * n);
        at += n;
    }
    EXPECT_EQ(cut.value(), whole.value());
    std::vector<std::uint64_t> sums{whole.value()};
    for (std::size_t at = 0; at < 5000; ++at) {
        std::vector<std::int16_t> changed = samples;
        changed[at] = static_cast<std::int16_t>(changed[at] ^ (1 << random() % 16));
        sums.push_back(sumOf(changed.data(), 10000));
        std::swap(changed[at], changed[random() % 5000]);
        sums.push_back(sumOf(changed.data(), 10000));
    }
    std::erase_if(sums,
                  [seen = std::map<std::uint64_t, int>()](std::uint64_t sum) mutable { return seen[sum]++ == 0; });
    EXPECT_LE(sums.size(), 5U);  // of a sample that changes places with itself
}

// Deliveries and points come out as they went in, however the ring's end and its pieces fall.
TEST_F(CaptureTest, EventsAreReadAsTheyWereWritten) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> deliveries[2];
    std::vector<std::uint64_t> sums;
    std::mt19937_64 random(3);
    {
        LogFiles files(folder_);
        EventWriter writer(files, 2, 300);
        std::uint64_t round = 0;
        for (int i = 0; i < 60000; ++i) {
            round += random() % 5 == 0 ? 1 + random() % 1000 : 1;
            const std::size_t input = random() % 2;
            const std::uint64_t count = random() % 10 == 0 ? 1 + random() % 70000 : 1024;
            writer.delivery(round, input, count);
            deliveries[input].emplace_back(round, count);
            sums.push_back(random());
            writer.point(round, random() % 300, 1 + random() % 2 * 255, sums.back());
        }
        files.finish();
    }
    const LogBytes bytes(at("events"), std::filesystem::file_size(at("events")), {});
    EventReader reader(bytes, 2, 0, 300);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> read[2];
    std::vector<std::uint64_t> readSums;
    while (const std::optional<Event> event = reader.next()) {
        if (event->tag == EventTag::point) readSums.push_back(event->word);
        for (std::uint32_t i = 0; i < event->times; ++i)
            read[event->place].emplace_back(event->round + i * event->step, event->count);
    }
    EXPECT_EQ(readSums, sums);
    for (const int input : {0, 1}) EXPECT_EQ(read[input], deliveries[input]) << input;
}

}  // namespace
}  // namespace libzepl
