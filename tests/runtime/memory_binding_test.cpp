// Procedures whose inputs come from the caller's memory and whose outputs are collected.

#include "../support/session_support.h"
#include "files_support.h"
#include "runtime/binder.h"

namespace libzepl {
namespace {

using Numbers = std::vector<double>;

class MemoryBinding : public FilesTest {
 protected:
    // Binds the procedure to `options_` and runs it. What cannot be bound gives its first mistake.
    std::string run(const std::string& text) {
        diagnostics_.clear();
        bound_ = {};
        const Procedure procedure = parseProcedure({at("p.zp").string(), text}, diagnostics_);
        bound_ = bindProcedure(procedure, testLibrary(), options_, diagnostics_);
        if (bound_.session == nullptr) return diagnostics_.front().message + " | " + diagnostics_.front().remedy;
        report_ = bound_.session->run();
        return report_.reason;
    }
    template <class Element>
    void give(const std::string& name, const std::vector<Element>& elements, int channels = 1) {
        options_.samples[name] = {.type = elementTypeOf<Element>(),
                                  .elements = elements.data(),
                                  .frames = elements.size() / static_cast<std::size_t>(channels),
                                  .channels = channels};
    }
    static Numbers numbers(std::span<const std::byte> bytes, ElementType type) {
        return withElementType(type, [&]<class Element>() {
            std::vector<Element> elements(bytes.size() / sizeof(Element));
            if (!bytes.empty()) std::memcpy(elements.data(), bytes.data(), bytes.size());
            return Numbers(elements.begin(), elements.end());
        });
    }
    // What came of the output, its pieces one after the other.
    Numbers collected(const std::string& name) const {
        for (const CollectedOutput& output : bound_.collected) {
            if (output.name != name) continue;
            if (output.kind == CollectedOutput::Kind::trigger) {
                const std::vector<std::uint32_t> events = bound_.session->collectedEvents(output.trigger);
                return {events.begin(), events.end()};
            }
            const ElementType type = output.columns.front().type;
            if (output.kind == CollectedOutput::Kind::pipe)
                return numbers(bound_.session->collectedMemory(output.pipe), type);
            Numbers all;
            for (const auto piece : bound_.session->collectedFrames(output.frames))
                for (double number : numbers(piece, type)) all.push_back(number);
            return all;
        }
        ADD_FAILURE() << name << " is not collected";
        return {};
    }

    BindOptions options_;
    std::vector<Diagnostic> diagnostics_;
    BoundProcedure bound_;
    Report report_;
    const std::vector<std::int16_t> four_{1, -2, 3, -4}, six_{1, -2, 3, -4, 5, -6};
};

TEST_F(MemoryBinding, SamplesAreTakenAsThoseOfAFileWithTheSameClauses) {
    options_.collected = {{"y", {}}};
    const std::vector<double> halves{0.5, -1.5, 2.5};
    const std::vector<std::int32_t> large{70000, -70000};
    const MemorySamples six{ElementType::int16, six_.data(), 3, 2}, across{ElementType::int16, six_.data(), 3, 2, 1, 3};
    const MemorySamples everySecond{ElementType::int16, six_.data(), 3, 1, 2};
    const struct {
        const char* declared;
        MemorySamples samples;
        Numbers taken;
    } cases[] = {
        {"int16", {ElementType::int16, six_.data(), 6}, {1, -2, 3, -4, 5, -6}},
        {"int16", {ElementType::int16, nullptr, 0}, {}},
        {"int16", everySecond, {1, 3, 5}},
        {"int16 from \"x.wav\" channel 2", {ElementType::int16, six_.data(), 2}, {1, -2}},
        {"int16 from \"x.wav\" channel 2", six, {-2, -4, -6}},
        {"int16 from \"x.wav\" channel 2", across, {-4, 5, -6}},
        {"int16 from \"x.csv\" column 1", six, {1, 3, 5}},
        {"int16 interleaved 2", six, {1, -2, 3, -4, 5, -6}},
        {"int16 interleaved 2", across, {1, -4, -2, 5, 3, -6}},
        {"double", everySecond, {1, 3, 5}},
        {"int16 from \"x.wav\" convert rounded", {ElementType::float64, halves.data(), 3}, {0, -2, 2}},
        {"int16 from \"x.wav\" convert truncated", {ElementType::int32, large.data(), 2}, {32767, -32768}},
    };
    for (const auto& each : cases) {
        options_.samples["x"] = each.samples;
        const std::string declared = each.declared, type = declared.substr(0, declared.find(' '));
        EXPECT_EQ(run("pipe x : " + declared + "\npipe y : " + type + "\nREPLICATE (x, 1, y)\n"), "") << declared;
        EXPECT_EQ(collected("y"), each.taken) << declared;
    }
}

TEST_F(MemoryBinding, SamplesThatDoNotFitAreRefusedWithTheReasonAndTheWayOut) {
    const std::vector<double> real{0.5, 1};
    const MemorySamples doubles{ElementType::float64, real.data(), 2}, pairs{ElementType::int16, six_.data(), 3, 2};
    const struct {
        const char *text, *name;
        MemorySamples samples;
        std::string said;
    } cases[] = {
        {"pipe x : int16\n", "x", doubles,
         "`x`: its double samples do not fit the type `int16` without loss | declare `double`, or ask for `convert "
         "rounded`, `convert truncated` or `convert scaled`"},
        {"pipe x : int16\n", "x", pairs,
         "`x`: it has 2 channels, and which of them is not said | take one with `channel K`, all, frame by frame, with "
         "`interleaved 2`, or each as an element of an array, NAME[2]"},
        {"pipe x[3] : int16\n", "x", pairs,
         "`x`: it has 2 channels, and an array of 3 takes just as many | declare an array of 2"},
        {"pipe x[3] : int16\n", "x[4]", pairs,
         "the procedure declares no pipe or vector `x[4]` | its elements are `x[1]` to `x[3]`"},
        {"vector x : int16 = [1]\n", "x", doubles,
         "`x`: its double samples do not fit the type `int16` without loss | declare `double`, or ask for `convert "
         "rounded`, `convert truncated` or `convert scaled`"},
        {"trigger x\n", "x", pairs,
         "the procedure declares no pipe or vector `x`, which is a trigger | it declares none"},
    };
    for (const auto& each : cases) {
        options_.samples = {{each.name, each.samples}};
        EXPECT_EQ(run(each.text), each.said) << each.text;
    }
}

TEST_F(MemoryBinding, WhatIsCollectedIsWhatTheFilesHold) {
    options_.outputMode = OutputMode::writeAndCollect;
    options_.events["e"] = {{true, 1}, {true, 3}, {false, 5}};
    give("a", six_, 2);
    ASSERT_EQ(run("pipe a[2] : int16\npipe b[2] : int16 to \"b.npy\"\npipe c : int16 to \"c.npy\" limit 2\n"
                  "trigger e to \"e.csv\" limit 1\ntable \"t.csv\" : a, index\nABS (a, b)\nREPLICATE (a[2], 1, c)\n"),
              "");
    const std::pair<const char*, Numbers> outputs[] = {
        {"b", {1, 2, 3, 4, 5, 6}}, {"c", {-2, -4}}, {"e", {1}}, {"t.csv", {1, 3, 5, -2, -4, -6}}};
    ASSERT_EQ(bound_.collected.size(), std::size(outputs));
    for (const auto& [name, held] : outputs) EXPECT_EQ(collected(name), held) << name;
    std::vector<std::string> notes;
    for (const auto& [file, held] : {std::pair("b.npy", outputs[0].second), {"c.npy", outputs[1].second}}) {
        const ReadRequest request{.path = at(file), .interleaved = file[0] == 'b' ? 2 : 1};
        EXPECT_EQ(numbers(readVector(request, notes), ElementType::int16), held) << file;
    }
    EXPECT_EQ(readTriggerRows(at("e.csv")).size(), 2U);
    EXPECT_EQ(report_.outputs.size(), 4U);
    options_.outputMode = OutputMode::collect;
    options_.events.clear();
    const std::size_t before = filesInAll();
    EXPECT_EQ(run("pipe a[2] : int16\npipe b : int16 to \"missing/b.npy\"\nABS (a[1], b)\n"), "");
    EXPECT_EQ(filesInAll(), before);
}

TEST_F(MemoryBinding, LengthAndRateAreThoseOfTheSamples) {
    give("x", four_);
    options_.collected = {{"y", {}}};
    options_.session.rate = 50;
    const std::string text =
        "variable v : int16 = length(x) + rate\npipe x : int16\npipe y : int16\nOFFSET (x, v, y)\n";
    EXPECT_EQ(run(text), "");
    EXPECT_EQ(collected("y"), (Numbers{55, 52, 57, 50}));
    EXPECT_TRUE(diagnostics_.empty());
    EXPECT_EQ(bound_.collected.front().rate, 50);
    EXPECT_EQ(run("rate 20 * 2\n" + text), "");
    EXPECT_EQ(collected("y"), (Numbers{45, 42, 47, 40}));
    EXPECT_EQ(report_.notes.front(), "the samples come at 50 frames a second, and the procedure's `rate` is 40");
}

TEST_F(MemoryBinding, APipeThatTheCallerFeedsLeavesItsFileAside) {
    options_.fed = {"x"};
    options_.collected = {{"y", {}}};
    const Procedure procedure = parseProcedure(
        {at("p.zp").string(), "pipe x : int16 from \"none.wav\"\npipe y : int16\nABS (x, y)\n"}, diagnostics_);
    bound_ = bindProcedure(procedure, testLibrary(), options_, diagnostics_);
    ASSERT_NE(bound_.session, nullptr);
    bound_.session->feed<std::int16_t>(bound_.session->pipeNamed("x"), {-3, 4});
    EXPECT_EQ(bound_.session->run().status, Report::Status::ok);
    EXPECT_EQ(collected("y"), (Numbers{3, 4}));
}

// As with a file: nothing would end it.
TEST_F(MemoryBinding, ACollectedGeneratorNeedsALimit) {
    options_.collected = {{"y", {}}};
    EXPECT_EQ(run("pipe y : int16\nSQUAREWAVE (100, 2, y)\n"),
              "the output of `y` depends on no input, so nothing would end it");
    options_.collected["y"] = 2;
    EXPECT_EQ(run("pipe y : int16\nSQUAREWAVE (100, 2, y)\n"), "");
    EXPECT_EQ(collected("y").size(), 2U);
    options_.collected.clear();
    options_.outputMode = OutputMode::collect;
    EXPECT_EQ(run("pipe y : int16 to \"y.npy\" limit 3\nSQUAREWAVE (100, 2, y)\n"), "");
    EXPECT_EQ(collected("y").size(), 3U);
}

TEST_F(MemoryBinding, SamplesInOnePieceAreNotCopied) {
    const std::vector<std::int16_t> many(1 << 20, 7);
    give("x", many);
    options_.session.memoryLimit = 1 << 20;
    EXPECT_EQ(run("pipe x : int16\npipe y : int16 to \"y.bin\"\npipe z : int16\nABS (x, z)\nRMS (z, 1024, y)\n"), "");
    options_.collected = {{"z", {}}};
    EXPECT_EQ(run("pipe x : int16\npipe z : int16\nABS (x, z)\n"), "no memory is left for what is to be collected");
}

}  // namespace
}  // namespace libzepl
