#include "runtime/live/fed_source.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>

#include "runtime/files/stream_wait.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

// Signals are for the threads of the caller.
class NoSignals {
 public:
    NoSignals() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) sigdelset(&all, fault);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;

 private:
    sigset_t before_;
};

}  // namespace

bool pushAll(LiveRing& ring, const std::byte* from, std::size_t count, std::size_t width) {
    while (count > 0) {
        const std::size_t n = ring.push(from, count);
        from += n * width;
        count -= n;
        if (count == 0) break;
        ring.emptied.arm();
        const auto isClosed = [&] { return ring.closed.load(std::memory_order_seq_cst); };
        if (ring.samples.room() == 0 && !isClosed()) awaitAny({ring.emptied.descriptor()});
        ring.emptied.disarm();
        if (isClosed()) return false;
    }
    return true;
}

FedSource::FedSource(std::string name, std::unique_ptr<Feeder> feeder, std::shared_ptr<LiveRing> ring)
    : RingSource(ring, feeder->channels(), feeder->rate()),
      name_(std::move(name)),
      feeder_(std::move(feeder)),
      ring_(std::move(ring)) {}

FedSource::~FedSource() { stop(); }

void FedSource::start() {
    const NoSignals blocked;
    try {
        thread_ = std::thread([this] { feed(); });
    } catch (const std::system_error& error) {
        throw Problem(name_ + ": no thread is left to read it: " + error.what(),
                      "raise the limit of threads (ulimit -u)");
    }
}

void FedSource::feed() {
    const WaitScope waiting(stop_);
    try {
        feeder_->feed(*ring_);
    } catch (const Interrupted&) {
        // The one who stopped it knows.
    } catch (...) {
        error_ = std::current_exception();
    }
    ring_->finish();
}

void FedSource::stop() {
    stop_.request();
    ring_->close();
    if (thread_.joinable()) thread_.join();
}

std::size_t FedSource::read(void* to, std::size_t count) {
    const std::size_t n = RingSource::read(to, count);
    taken_ += n;
    if (n == 0 && error_ != nullptr) std::rethrow_exception(error_);
    return n;
}

Losses FedSource::losses() const { return feeder_->losses(taken_ / static_cast<std::uint64_t>(channels())); }

std::vector<std::string> FedSource::notes() const {
    std::vector<std::string> notes = feeder_->notes();
    const Losses lost = losses();
    if (lost.frames == 0) return notes;
    const Gap& first = lost.gaps.front();
    std::string note = name_ + ": " + (lost.isEstimated ? "about " : "") + counted(lost.frames, "frame") +
                       (lost.frames == 1 ? " is" : " are") + " lost, ";
    note += lost.places == 1 ? "before frame " + std::to_string(first.frame)
                             : "in " + std::to_string(lost.places) + " places, the first " +
                                   std::to_string(first.lost) + " before frame " + std::to_string(first.frame);
    notes.push_back(note + (lost.isFilled ? ", with zeros in place of them" : "") + " (frames count from 0)");
    return notes;
}

}  // namespace libzepl
