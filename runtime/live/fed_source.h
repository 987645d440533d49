// A live source: a feeder that fills a ring on a thread of its own.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "runtime/live/ring_source.h"
#include "runtime/stop_request.h"

namespace libzepl {

// Where the elements of a live source come from.
class Feeder {
 public:
    virtual ~Feeder() = default;
    virtual int channels() const = 0;
    virtual std::optional<double> rate() const = 0;
    // Feeds the ring up to the end of what there is, on a thread of its own. Ends early where nothing is taken any more, and
    // where a stop is requested, by Interrupted too; a Problem is that of the source.
    virtual void feed(LiveRing& ring) = 0;
    // After that.
    virtual std::vector<std::string> notes() const { return {}; }
    virtual Losses losses(std::uint64_t) const { return {}; }  // as LossyFeed::before()
};

// Pushes all of it, waiting for room. False where nothing is taken any more, or a stop is requested.
bool pushAll(LiveRing& ring, const std::byte* from, std::size_t count, std::size_t width);

class FedSource final : public RingSource {
 public:
    FedSource(std::string name, std::unique_ptr<Feeder> feeder, std::shared_ptr<LiveRing> ring);
    ~FedSource() override;

    std::size_t read(void* to, std::size_t count) override;
    std::vector<std::string> notes() const override;
    void start() override;
    void stop() override;
    Losses losses() const override;

 private:
    void feed();

    std::string name_;  // as messages call it
    std::unique_ptr<Feeder> feeder_;
    std::shared_ptr<LiveRing> ring_;
    StopRequest stop_;
    std::thread thread_;
    std::exception_ptr error_;  // of the feeder, once it has finished
    std::uint64_t taken_ = 0;
};

}  // namespace libzepl
