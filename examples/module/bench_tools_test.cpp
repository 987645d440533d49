// Runs each command on random samples that arrive in random pieces, and compares with what is expected of it.

#include <zepl/session.h>

#include <algorithm>
#include <cstdio>
#include <random>

using namespace libzepl;

namespace {

bool allWell = true;

void expect(bool holds, const char* what, std::uint64_t seed) {
    if (holds) return;
    std::printf("%s is wrong, seed %llu\n", what, static_cast<unsigned long long>(seed));
    allWell = false;
}

// What arrives when must not matter: so each seed is another arrival.
SessionOptions arrival(std::uint64_t seed) {
    return {.feed = {.kind = FeedPolicy::Kind::random, .seed = seed},
            .block = static_cast<std::uint32_t>(1 + seed * 97)};
}

std::vector<double> randomSamples(std::uint64_t seed, std::size_t n) {
    std::mt19937_64 generator(seed);
    std::normal_distribution<double> noise;
    std::vector<double> samples(n);
    for (double& sample : samples) sample = noise(generator);
    return samples;
}

void testClip(const CommandLibrary& library, std::uint64_t seed) {
    Session session(library, arrival(seed));
    const PipeId source = session.addPipe({.name = "source", .type = ElementType::float64});
    const PipeId dest = session.addPipe({.name = "dest", .type = ElementType::float64});
    std::vector<double> samples = randomSamples(seed, 5000);
    session.feed(source, samples);
    session.collect(dest);
    session.addTask(
        {.command = "CLIP",
         .arguments = {session.use(source), doubleConstant(-0.5), doubleConstant(0.25), session.use(dest)}});
    session.run();
    for (double& sample : samples) sample = std::clamp(sample, -0.5, 0.25);
    expect(session.collected<double>(dest) == samples, "CLIP", seed);
}

void testCrossing(const CommandLibrary& library, std::uint64_t seed) {
    Session session(library, arrival(seed));
    const PipeId source = session.addPipe({.name = "source", .type = ElementType::float32});
    const TriggerId beat = session.addTrigger("beat");
    const std::vector<double> wide = randomSamples(seed, 5000);
    const std::vector<float> samples(wide.begin(), wide.end());
    session.feed(source, samples);
    session.collect(beat);
    session.addTask({.command = "CROSSING", .arguments = {session.use(source), floatConstant(1), session.use(beat)}});
    session.run();
    std::vector<std::uint32_t> expected;
    for (std::uint32_t i = 1; i < samples.size(); ++i)
        if (samples[i] >= 1 && samples[i - 1] < 1) expected.push_back(i);
    expect(session.collectedEvents(beat) == expected, "CROSSING", seed);
}

void testCalibrate(const CommandLibrary& library, std::uint64_t seed) {
    Session session(library, arrival(seed));
    const PipeId counts = session.addPipe({.name = "counts", .type = ElementType::int16});
    const PipeId units = session.addPipe({.name = "units", .type = ElementType::float32});
    session.feed<std::int16_t>(counts, {-32768, -1, 0, 1, 32767});
    session.collect(units);
    session.addTask({.command = "CALIBRATE",
                     .arguments = {session.use(counts), floatConstant(0.5F), floatConstant(1), session.use(units)}});
    session.run();
    expect(session.collected<float>(units) == std::vector<float>{-16383, 0.5F, 1, 1.5F, 16384.5F}, "CALIBRATE", seed);
}

}  // namespace

int main(int count, char** words) {
    if (count != 2) return 2;
    CommandLibrary library;
    library.load(words[1]);
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        testClip(library, seed);
        testCrossing(library, seed);
        testCalibrate(library, seed);
    }
    return allWell ? 0 : 1;
}
