// Groups of tasks that share nothing, by several engines: what makes a group, and that what ties groups comes out as with one.

#include <thread>

#include "runtime/binder.h"
#include "runtime/engine/engine.h"
#include "runtime/engine/partition.h"
#include "tests/runtime/files_support.h"

namespace libzepl {
namespace {

// Two tasks, each from an input of its own to an output of its own.
struct Pairs {
    TestSession session;
    PipeId a = session.input("a", countUp(10)), b = session.input("b", countUp(10));
    PipeId c = session.output("c"), d = session.output("d");

    std::size_t groups() { return Partition(engineOf(session).graph, 8).count(); }
};

TEST(Partition, TasksThatShareNothingAreGroups) {
    Pairs pairs;
    pairs.session.script("", pairs.a, pairs.c);
    pairs.session.script("", pairs.b, pairs.d);
    EXPECT_EQ(pairs.groups(), 2);
}

TEST(Partition, AVectorIsSharedByAllAndAVariableTies) {
    for (const bool isVariable : {false, true}) {
        Pairs pairs;
        const std::int32_t value = 1;
        const TaskArgument shared =
            isVariable ? pairs.session.use(pairs.session.addVariable("v", ElementType::int32, &value))
                       : pairs.session.use(pairs.session.addVector("v", ElementType::int32, bytesOf(countUp(4))));
        pairs.session.script("", pairs.a, pairs.c, shared);
        pairs.session.script("", pairs.b, pairs.d, shared);
        EXPECT_EQ(pairs.groups(), isVariable ? 1 : 2);
    }
}

TEST(Partition, ATableAndTasksBetweenTie) {
    Pairs pairs;
    const PipeId e = pairs.session.pipe("e"), f = pairs.session.pipe("f");
    pairs.session.script("", pairs.a, e);
    pairs.session.script("", pairs.b, f);
    EXPECT_EQ(pairs.groups(), 2);
    pairs.session.setCollectedOutput({.name = "table", .isTable = true, .members = {{e}, {f}}}, nullptr);
    EXPECT_EQ(pairs.groups(), 1);
    Pairs chain;
    chain.session.script("", chain.a, chain.c, chain.d);
    EXPECT_EQ(chain.groups(), 2);  // the input that nobody reads is the other
    chain.session.script("", chain.d, chain.b);
    EXPECT_EQ(chain.groups(), 1);
}

class LanesOfFiles : public FilesTest {
 protected:
    LanesOfFiles() {
        std::string many, broken = "x\n";
        for (int i = 0; i < 40000; ++i) many += static_cast<char>(i % 251);
        for (int i = 0; i < 30000; ++i) broken += std::to_string(i % 100) + "\n";
        put("long.bin", many);
        put("short.bin", std::string_view(many).substr(0, 9000));
        put("broken.csv", broken + "what\n");
        put("events.csv", "event,position\nassert,5\nassert,700\n");
    }

    struct Result {
        std::string report, mistakes, reason;
        std::map<std::string, std::string> files;
    };

    Result resultOf(const std::string& text, unsigned jobs, SessionOptions session) {
        std::vector<Diagnostic> diagnostics;
        BindOptions options;
        options.session = std::move(session);
        options.sync = false;
        const Procedure procedure = parseProcedure({at("p.zp").string(), text}, diagnostics);
        BoundProcedure bound = bindProcedure(procedure, testLibrary(), options, diagnostics);
        EXPECT_NE(bound.session, nullptr) << render(diagnostics, procedure.source);
        Report report = runBound(bound, procedure, testLibrary(), options, jobs);
        report.seconds = 0;
        const auto rendered = render(diagnose(bound.procedure, report, bound.advice), procedure.source);
        Result result{toJson(report, {}), rendered, report.reason, {}};
        bound.session.reset();
        for (const auto& entry : std::filesystem::directory_iterator(at(""))) {
            const std::string name = entry.path().filename().string();
            if (!name.starts_with("out")) continue;
            result.files[name] = readTextFile(entry.path());
            std::filesystem::remove(entry.path());
        }
        return result;
    }

    Result expectSame(const std::string& text, const std::string& said, const SessionOptions& session = {}) {
        SCOPED_TRACE(text);
        const Result one = resultOf(text, 1, session), several = resultOf(text, 3, session);
        EXPECT_EQ(several.report, one.report);
        EXPECT_EQ(several.mistakes, one.mistakes);
        EXPECT_EQ(several.files, one.files);
        EXPECT_NE((one.report + one.mistakes).find(said), std::string::npos) << one.report << one.mistakes;
        return one;
    }

    const std::string first = "pipe a : int16 from \"long.bin\"\npipe b : int16 to \"out1.bin\"\nABS (a, b)\n";
    const std::string second = "pipe c : int16 from \"short.bin\"\npipe d : int16 to \"out2.bin\"\n";
};

TEST_F(LanesOfFiles, WhatTiesGroupsComesOutAsWithOneEngine) {
    const std::string both = first + second;
    const struct {
        std::string text, said;
    } cases[] = {
        {both + "OFFSET (c, 5, d)", "\"status\": \"ok\""},
        // A task that ends, and one that is refused.
        {first + "pipe c : int16 from \"short.bin\"\npipe d : int16 = (c - c) / (c - c) to \"out2.bin\"", "is nan"},
        {both + "RMS (c, -5, d)", "too small"},
        // An input that fails in the middle.
        {first + "pipe c : int16 from \"broken.csv\"\npipe d : int16 to \"out2.bin\"\nABS (c, d)", "broken.csv:30002"},
        // Pauses, digital outputs and the clock.
        {both + "ABS (c, d)\npipe e : int16 from \"short.bin\"\nALARM (e, 1, outside, 10, 20000, 3, 250)", "\"bit\""},
        // A channel that must grow in one group alone, and a task that polls until the others have come to their end.
        {both + "pipe e : int16\nHIGH (c, 3000, e)\npipe f : int16 = c - e to \"out3.bin\"\nABS (c, d)", "unread"},
        {both + "pipe g : int16 starts [3]\nMERGEF (c, g, d)", "\"status\": \"ok\""},
        // What goes on by itself, and events of a file.
        {both + "pipe g : int16\nSQUAREWAVE (100, 10, g)\nMERGEF (c, g, d)", "continues by itself"},
        {both + "trigger t from \"events.csv\"\ntrigger u to \"out.csv\"\nABS (c, d)\nTRIGSCALE (t, 0, 2, 1, u)",
         "assert"},
        // Every output has its limit.
        {"pipe a : int16 from \"long.bin\"\npipe b : int16 to \"out1.bin\" limit 100\nABS (a, b)\n"
         "pipe c : int16 from \"short.bin\"\npipe d : int16 to \"out2.bin\" limit 3000\nABS (c, d)",
         "\"written\""},
    };
    for (const auto& each : cases) expectSame(each.text, each.said, {.block = 64});
}

// As much as is short at first, and from some limit on enough, by lanes or by one; instrumented builds have larger stacks.
TEST_F(LanesOfFiles, GroupsHaveOneLimitOfMemory) {
    const std::string growing = "pipe e : int16\nHIGH (c, 3000, e)\npipe f : int16 = c - e to \"out3.bin\"\nABS (c, d)";
    std::set<std::string> reasons;
    for (std::uint64_t limit = 1'000'000; limit < 3'600'000; limit += 40'000)
        reasons.insert(expectSame(first + second + growing, "\"status\"", {.memoryLimit = limit}).reason);
    EXPECT_GT(reasons.size(), 1);
}

// Reads without an end, and asks for the run's end after some time.
class EndlessSource : public Source {
 public:
    EndlessSource(StopRequest& stop, std::set<std::thread::id>& threads) : stop_(stop), threads_(threads) {}
    std::size_t read(void* to, std::size_t count) override {
        threads_.insert(std::this_thread::get_id());
        std::memset(to, 0, 4 * count);
        if (++reads_ == 1000) stop_.request();
        return count;
    }
    std::optional<std::uint64_t> length() const override { return {}; }
    int channels() const override { return 1; }
    std::optional<double> rate() const override { return {}; }

 private:
    StopRequest& stop_;
    std::set<std::thread::id>& threads_;
    int reads_ = 0;
};

TEST(LanesOfASession, AStopEndsAllOfThem) {
    SessionOptions options;
    options.stop = std::make_shared<StopRequest>();
    TestSession session(options);
    std::set<std::thread::id> threads[2];
    for (std::set<std::thread::id>& each : threads) {
        const PipeId in = session.pipe("in");
        session.setInput(in, std::make_unique<EndlessSource>(*options.stop, each));
        session.script("open_read:2 *( pipe_get:2 )", in);
    }
    // This one has nothing to do soon, and waits for the others.
    const PipeId few = session.input("few", countUp(10)), out = session.output("out");
    session.script("open_read:2 open_write:3 *( move:2,3 )", few, out);
    const std::optional<Report> report = session.runInLanes(3);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->status, Report::Status::interrupted);
    EXPECT_EQ(session.collected<std::int32_t>(out), countUp(10));
    EXPECT_EQ(threads[0].size(), 1);
    EXPECT_NE(threads[0], threads[1]);
}

TEST(LanesOfASession, WhatTheCallersProgressThrowsComesOut) {
    struct Enough {};
    SessionOptions options;
    options.progress = [](const Progress&) { throw Enough(); };
    options.stop = std::make_shared<StopRequest>();
    TestSession session(options);
    StopRequest never;
    std::set<std::thread::id> threads[2];
    for (std::set<std::thread::id>& each : threads) {
        const PipeId in = session.pipe("in");
        session.setInput(in, std::make_unique<EndlessSource>(never, each));
        session.script("open_read:2 *( pipe_get:2 )", in);
    }
    EXPECT_THROW(session.runInLanes(2), Enough);
}

}  // namespace
}  // namespace libzepl
