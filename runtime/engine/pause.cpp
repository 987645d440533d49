#include "runtime/engine/pause.h"

#include "runtime/engine/engine.h"
#include "runtime/engine/streams.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

void holdWhilePaused(Engine& e) {
    if (!e.outside.isPaused) return;
    const auto began = Pace::Clock::now();
    showTaps(e, true);
    flushStreams(e);
    while (e.outside.isPaused && !e.stopRequested()) {
        if (e.outside.arm()) {
            awaitAny({e.outside.wake.descriptor()});
            e.outside.disarm();
        }
        serveOutside(e);
    }
    if (e.pace.began) *e.pace.began += Pace::Clock::now() - began;
}

}  // namespace libzepl
