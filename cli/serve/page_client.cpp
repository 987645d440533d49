#include "cli/serve/page_client.h"

#include <algorithm>
#include <variant>

#include "cli/serve/pictures.h"
#include "cli/serve/state_text.h"

namespace cli {

namespace {

constexpr std::chrono::milliseconds stateInterval(100);
constexpr std::chrono::seconds heartbeat(1);
constexpr std::size_t eventsAtOnce = 500;

template <class... Cases>
struct Either : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Either(Cases...) -> Either<Cases...>;

}  // namespace

bool PageClient::admits(Clock::time_point now) {
    const double passed = std::chrono::duration<double>(now - lastRequest_).count();
    allowance_ = std::min(burst, allowance_ + passed * aSecond) - 1;
    lastRequest_ = now;
    return allowance_ >= 0;
}

bool PageClient::receive(std::string_view text, Clock::time_point now) {
    if (!admits(now)) return false;
    const Request request = parseRequest(text);
    if (std::holds_alternative<NotUnderstood>(request) && ++mistakes_ > mostMistakes) return false;
    answer(request);
    return true;
}

void PageClient::answer(const Request& request) {
    const auto note = [this](std::string text) {
        if (errors_.size() < mostMistakes) errors_.push_back(std::move(text));
    };
    std::visit(Either{[&](const NotUnderstood& mistake) { note("not understood: " + mistake.why); },
                      [&](const Look& look) {
                          look_ = look;
                          sawLook_ = false;
                      },
                      [&](const SetValue& set) {
                          try {
                              runs_.set(set.variable, set.value);
                          } catch (const libzepl::Problem& problem) {
                              note(problem.what());
                          }
                      },
                      [&](const Start&) { runs_.start(); }, [&](const Stop&) { runs_.stop(); },
                      [&](const SetPaused& set) { runs_.setPaused(set.isPaused); }},
               request);
}

std::optional<Message> PageClient::next(Clock::time_point now, std::uint64_t pictureVersion) {
    if (!greeted_) {
        greeted_ = true;
        return Message{helloText(procedure_)};
    }
    if (std::optional<Message> text = nextText(now)) return text;
    return nextPicture(now, pictureVersion);
}

std::optional<Message> PageClient::nextText(Clock::time_point now) {
    if (!errors_.empty()) {
        Message message{errorText(errors_.front())};
        errors_.erase(errors_.begin());
        return message;
    }
    const std::shared_ptr<const RunState> state = runs_.state();
    const bool isOther = sentState_ == nullptr || state->phase != sentState_->phase || state->run != sentState_->run;
    const auto since = now - lastState_;
    if (isOther || (state != sentState_ && since >= stateInterval) || since >= heartbeat) {
        sentState_ = state;
        lastState_ = now;
        return Message{stateText(*state)};
    }
    const std::string printed = runs_.console().after(consolePlace_);
    if (!printed.empty()) return Message{consoleText(printed)};
    const std::shared_ptr<Watching> watching = runs_.watching();
    if (watching == nullptr) return {};
    if (watching->run() != eventsRun_) {
        eventsRun_ = watching->run();
        eventPlaces_.assign(watching->triggers(), 0);
    }
    for (std::size_t i = 0; i < eventPlaces_.size(); ++i) {
        const Events& events = watching->eventsOf(i);
        if (events.next() <= eventPlaces_[i]) continue;
        const std::uint64_t from = std::max(eventPlaces_[i], events.first);
        eventPlaces_[i] = std::min(events.next(), from + eventsAtOnce);
        return Message{eventsText(*watching, i, from, eventPlaces_[i])};
    }
    return {};
}

// Pictures and samples in turns, where both are looked at.
std::optional<Message> PageClient::nextPicture(Clock::time_point now, std::uint64_t pictureVersion) {
    const std::shared_ptr<Watching> watching = runs_.watching();
    if (!look_ || watching == nullptr || (sawLook_ && sentVersion_ == pictureVersion && !samplesNext_)) return {};
    if (samplesNext_) {
        samplesNext_ = false;
        return Message{samplesOf(*look_, *watching), true};
    }
    // A tick that comes a little early is taken.
    const std::chrono::duration<double> interval(0.9 / look_->pictures);
    if (sawLook_ && now - lastPicture_ < interval) return {};
    lastPicture_ = now;
    sentVersion_ = pictureVersion;
    sawLook_ = true;
    samplesNext_ = !look_->sampled.empty();
    if (look_->pipes.empty()) return {};
    std::optional<std::string> picture = pictureOf(*look_, *watching);
    if (!picture) return {};
    return Message{std::move(*picture), true};
}

}  // namespace cli
