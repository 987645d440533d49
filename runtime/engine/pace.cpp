#include "runtime/engine/pace.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "runtime/engine/engine.h"
#include "runtime/engine/inputs.h"
#include "runtime/engine/pause.h"
#include "runtime/engine/streams.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

constexpr double pictureSeconds = 0.016;
constexpr std::chrono::duration<double> noticeable(0.1);

// Whether the session's clock can move on at the end of this round.
bool clockCanMove(Engine& e) {
    if (e.graph.inputsEnded()) return true;
    updateRoom(e);
    return inputCanDeliver(e);
}

// A pause puts off when the frame is due.
void sleepUntilDue(Engine& e, std::uint64_t frame) {
    flushStreams(e);
    while (!e.stopRequested() && Pace::Clock::now() < e.pace.dueAt(frame)) {
        serveOutside(e);
        holdWhilePaused(e);
        if (!e.outside.arm()) continue;
        std::vector<pollfd> woken{{e.outside.wake.descriptor(), POLLIN, 0}};
        awaitEvents(woken, e.pace.dueAt(frame));
        e.outside.disarm();
    }
    serveOutside(e);
}

std::string shortText(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", number);
    return text;
}

}  // namespace

std::uint64_t Pace::framesOfPicture() const {
    return static_cast<std::uint64_t>(std::clamp(std::ceil(framesPerSecond * pictureSeconds), 1.0, 0x1p32));
}

void holdPace(Engine& e) {
    Pace& pace = e.pace;
    if (!pace.isOn() || !e.setUpDone || !clockCanMove(e)) return;
    const auto now = Pace::Clock::now();
    if (!pace.began) pace.began = now;
    const std::uint64_t frame = e.timing.clock.frame();
    const auto due = pace.dueAt(frame);
    pace.late = now - due;
    if (pace.late < std::chrono::seconds(0)) return sleepUntilDue(e, frame);
    // What a live input did not bring cannot be caught up with.
    if (e.streams.hasLiveInputs) *pace.began += now - due;
}

void holdEnd(Engine& e) {
    if (!e.pace.isOn() || !e.setUpDone || e.outcome.end == RunEnd::failed || e.streams.hasLiveInputs) return;
    if (!e.pace.began) e.pace.began = e.outcome.began;
    sleepUntilDue(e, e.timing.clock.frame());
}

void notePace(Engine& e) {
    if (e.pace.late < noticeable || e.streams.hasLiveInputs) return;
    const double ran = static_cast<double>(e.timing.clock.frame()) / e.timing.clock.rate();
    const double due = ran / e.options.pace, took = due + e.pace.late.count();
    e.outcome.notes.push_back("the run did not keep the pace: at " + shortText(e.options.pace) + " times its rate " +
                              shortText(ran) + " s were to take " + shortText(due) + " s, and took " + shortText(took) +
                              " s");
}

}  // namespace libzepl
