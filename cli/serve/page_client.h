// One page, without its connection: what it is to be sent next, and what comes of what it asks.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/serve/live_run.h"
#include "cli/serve/messages.h"

namespace cli {

struct Message {
    std::string bytes;
    bool isBinary = false;
};

// Nothing waits in a queue: each message is made when the last one has gone out, from what is there then. So a page that reads
// slowly sees fewer pictures, and one that does not read costs nothing more.
class PageClient {
 public:
    using Clock = std::chrono::steady_clock;

    PageClient(LiveRun& runs, std::string procedure) : runs_(runs), procedure_(std::move(procedure)) {}

    // The next message, where one is due.
    std::optional<Message> next(Clock::time_point now, std::uint64_t pictureVersion);
    // False where the connection is to be closed: it asks too much, or too much that is not understood.
    bool receive(std::string_view text, Clock::time_point now);

 private:
    static constexpr double burst = 400;    // requests
    static constexpr double aSecond = 100;  // that are let through for long
    static constexpr int mostMistakes = 20;

    bool admits(Clock::time_point now);
    void answer(const Request& request);
    std::optional<Message> nextText(Clock::time_point now);
    std::optional<Message> nextPicture(Clock::time_point now, std::uint64_t pictureVersion);

    LiveRun& runs_;
    std::string procedure_;
    bool greeted_ = false;
    std::optional<Look> look_;
    bool sawLook_ = false;  // a picture of this look has gone out
    std::uint64_t sentVersion_ = 0;
    Clock::time_point lastPicture_{};
    bool samplesNext_ = false;
    std::shared_ptr<const RunState> sentState_;
    Clock::time_point lastState_{};
    std::uint64_t consolePlace_ = 0;
    std::uint32_t eventsRun_ = 0;
    std::vector<std::uint64_t> eventPlaces_;  // of each trigger, the events that were sent
    std::vector<std::string> errors_;
    double allowance_ = burst;
    Clock::time_point lastRequest_{};
    int mistakes_ = 0;
};

}  // namespace cli
