#include "runtime/capture/replay_script.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "runtime/session/session_ids.h"

namespace libzepl {

namespace {

// The place of what is of that name, at that place if it can be.
template <class Objects>
std::size_t placeOf(const Objects& objects, std::uint64_t place, const std::string& name, const char* what) {
    if (place < objects.size() && objects[place].name == name) return place;
    for (std::size_t i = 0; i < objects.size(); ++i)
        if (objects[i].name == name) return i;
    throw Problem(std::string("the capture has an input of the ") + what + " " + libzepl::quoted(name) +
                      ", which the session does not have",
                  "replay it in a session like the one that was captured");
}

// Those of the losses that lie before the elements that were given.
Losses lossesBefore(const Losses& all, std::uint64_t frames) {
    Losses before = all;
    before.frames = before.places = 0;
    std::erase_if(before.gaps, [&](const Gap& gap) { return gap.frame > frames; });
    for (const Gap& gap : before.gaps) before.frames += gap.lost;
    before.places = before.gaps.size();
    return before;
}

class ReplaySource final : public Source {
 public:
    ReplaySource(ReplayScript& script, std::size_t input, const CaptureFolder& folder)
        : script_(script), input_(input), folder_(folder), captured_(folder.run.inputs[input]) {}

    std::size_t read(void* to, std::size_t count) override {
        const std::size_t n = script_.read(input_, to, count);
        given_ += n;
        return n;
    }
    bool ready() const override { return script_.isReady(input_); }
    std::optional<std::uint64_t> length() const override { return captured_.length; }
    int channels() const override { return static_cast<int>(captured_.channels); }
    std::optional<double> rate() const override { return captured_.rate; }
    Losses losses() const override {
        const EventSummary& summary = folder_.summary;
        const Losses& all = summary.notes[input_].losses;
        return given_ == summary.delivered[input_] ? all : lossesBefore(all, given_ / captured_.channels);
    }
    std::vector<std::string> notes() const override {
        std::vector<std::string> notes = folder_.summary.notes[input_].notes;
        for (std::string& note : notes) note = "of the captured run: " + note;
        return notes;
    }

 private:
    ReplayScript& script_;
    std::size_t input_;
    const CaptureFolder& folder_;
    const CapturedInput& captured_;
    std::uint64_t given_ = 0;  // elements
};

}  // namespace

ReplayScript::ReplayScript(const CaptureFolder& folder, std::optional<std::uint64_t> until)
    : folder_(folder),
      reader_(folder.reader()),
      inputs_(folder.run.inputs.size()),
      values_(folder.summary.values.begin(), folder.summary.values.end()) {
    next_ = reader_.next();
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        inputs_[i].width = widthOf(folder.run.inputs[i].type);
        inputs_[i].isMemory = folder.run.inputs[i].isMemory;
    }
    if (folder.isCut) stopRound_ = folder.known;
    if (const std::optional<Event>& end = folder.summary.end) {
        lastRound_ = end->round;
        stopsBefore_ = end->word == 0;
        if (end->word == 1 + static_cast<std::uint64_t>(RunEnd::stopped)) stopRound_ = end->round;
    }
    stopRound_ = std::min(stopRound_, until.value_or(stopRound_));
}

void ReplayScript::leaveOut(std::size_t variable) {
    std::erase_if(values_, [&](const EventSummary::Value& value) { return value.variable == variable; });
}

void ReplayScript::attachInputs(Session& session, Engine& e) {
    fillMemory();
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const CapturedInput& captured = folder_.run.inputs[i];
        const std::size_t place = placeOf(e.graph.pipes, captured.pipe, captured.name, "pipe");
        if (e.graph.pipes[place].type != captured.type)
            throw Problem("the capture has " + std::string(nameOf(captured.type)) + " elements of " +
                              libzepl::quoted(captured.name) + ", which is a pipe of " +
                              std::string(nameOf(e.graph.pipes[place].type)),
                          "give the pipe the type that it had");
        const auto id = idAt<PipeId>(e, place);
        if (captured.isMemory)
            session.feedMemory(id, inputs_[i].memory.data(), *captured.length, static_cast<int>(captured.channels));
        else
            session.setInput(id, std::make_unique<ReplaySource>(*this, i, folder_));
    }
    for (const CapturedRows& rows : folder_.run.rows)
        session.setInput(idAt<TriggerId>(e, placeOf(e.graph.triggers, rows.trigger, rows.name, "trigger")), rows.rows);
}

// What came from the caller's memory is there as a whole before the run begins. What is not in the capture is never due.
void ReplayScript::fillMemory() {
    const auto isMemory = [](const Input& input) { return input.isMemory; };
    if (std::none_of(inputs_.begin(), inputs_.end(), isMemory)) return;
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const std::uint64_t length = folder_.run.inputs[i].length.value_or(0);
        if (!inputs_[i].isMemory) continue;
        // Where the log is cut the rest is not in it; an absurd length is one that no memory holds.
        if (length > (std::uint64_t{1} << 40)) throw Problem("the capture names more elements than any memory holds");
        inputs_[i].memory.resize(std::max<std::uint64_t>(length, 1) * inputs_[i].width);
    }
    ReplayScript other(folder_, std::nullopt);
    std::vector<std::uint64_t> filled(inputs_.size());
    while (other.next_ || std::any_of(other.inputs_.begin(), other.inputs_.end(),
                                      [](const Input& input) { return !input.runs.empty(); })) {
        std::uint64_t round = other.next_ ? other.next_->round : ~std::uint64_t{0};
        for (const Input& input : other.inputs_)
            if (!input.runs.empty()) round = std::min(round, input.runs.front().round);
        other.readEvents(round);
        for (std::size_t i = 0; i < inputs_.size(); ++i)
            while (!other.inputs_[i].runs.empty() && other.inputs_[i].runs.front().round <= round) other.release(i);
        for (std::size_t i = 0; i < inputs_.size(); ++i)
            for (; !other.inputs_[i].segments.empty(); other.inputs_[i].segments.pop_front()) {
                if (!inputs_[i].isMemory) continue;
                const auto [offset, count] = other.inputs_[i].segments.front();
                folder_.elements.read(offset, inputs_[i].memory.data() + filled[i], count * inputs_[i].width);
                filled[i] += count * inputs_[i].width;
            }
    }
}

void ReplayScript::begin(Engine& e) {
    round_ = &e.scheduler.round;
    e.feed.inputsInMemory = e.feed.inputsInMemory && (folder_.run.shortcuts & 1) != 0;
    e.streams.drainsSmall = e.streams.drainsSmall && (folder_.run.shortcuts & 2) != 0;
    if (stopsBefore_ && e.options.feed.kind != FeedPolicy::Kind::whole) stopRound_ = 0;
}

// Takes the events up to that round.
void ReplayScript::readEvents(std::uint64_t round) {
    for (; next_ && next_->round <= round; next_ = reader_.next()) {
        if (next_->tag != EventTag::run && next_->tag != EventTag::inputEnd) continue;
        if (next_->round >= folder_.known) continue;
        Input& input = inputs_[next_->place];
        if (next_->tag == EventTag::run)
            input.runs.push_back({next_->round, next_->count, next_->step, next_->times});
        else
            input.end = next_->round;
    }
}

// The next delivery of the input's runs becomes due.
void ReplayScript::release(std::size_t i) {
    Input& input = inputs_[i];
    Run& run = input.runs.front();
    input.segments.push_back({elementOffset_, run.count});
    input.due += run.count;
    elementOffset_ += run.count * input.width;
    run.round += run.step;
    if (--run.times == 0 || run.round >= folder_.known) input.runs.pop_front();
}

// In the order of the rounds, and in each in that of the inputs, as their elements are stored.
void ReplayScript::advance(std::uint64_t round) {
    if (round <= advanced_ && advanced_ != 0) return;
    readEvents(round);
    for (;;) {
        std::uint64_t first = ~std::uint64_t{0};
        for (const Input& input : inputs_)
            if (!input.runs.empty()) first = std::min(first, input.runs.front().round);
        if (first > round) break;
        for (std::size_t i = 0; i < inputs_.size(); ++i)
            while (!inputs_[i].runs.empty() && inputs_[i].runs.front().round == first) release(i);
    }
    advanced_ = round;
}

std::uint64_t ReplayScript::due(std::uint64_t round, std::size_t i) {
    advance(round);
    const Input& input = inputs_[i];
    if (round > 0 || input.isMemory) return input.due;
    return input.segments.empty() ? 0 : input.segments.front().count;
}

bool ReplayScript::ends(std::uint64_t round, std::size_t i) {
    advance(round);
    const Input& input = inputs_[i];
    return input.due == 0 && ((input.end && *input.end <= round) || round > lastRound_);
}

void ReplayScript::deliveredOf(std::uint64_t, std::size_t input, std::uint64_t count) { inputs_[input].due -= count; }

bool ReplayScript::isReady(std::size_t input) {
    return round_ != nullptr && (due(*round_, input) > 0 || ends(*round_, input));
}

std::size_t ReplayScript::read(std::size_t i, void* to, std::size_t count) {
    Input& input = inputs_[i];
    auto* next = static_cast<std::byte*>(to);
    std::size_t done = 0;
    while (done < count && !input.segments.empty()) {
        Segment& segment = input.segments.front();
        const std::uint64_t n = std::min<std::uint64_t>(count - done, segment.count);
        folder_.elements.read(segment.offset, next + done * input.width, n * input.width);
        segment.offset += n * input.width;
        segment.count -= n;
        if (segment.count == 0) input.segments.pop_front();
        done += n;
    }
    return done;
}

void ReplayScript::applyValues(Engine& e) {
    for (; !values_.empty() && values_.front().round <= e.scheduler.round; values_.pop_front()) {
        const EventSummary::Value& value = values_.front();
        const std::string& name = folder_.run.variables[value.variable].name;
        const std::size_t place = placeOf(e.graph.variables, value.variable, name, "variable");
        applyValue(e, e.graph.variables[place], std::bit_cast<Cell>(value.cell));
    }
}

bool ReplayScript::stops(std::uint64_t round) {
    const std::optional<Event>& failure = folder_.summary.failure;
    if (failure && round >= failure->round && round <= stopRound_) throw Problem(failure->text, failure->remedy);
    return round >= stopRound_;
}

std::uint64_t ReplayScript::nextRound() const {
    std::uint64_t next = stopRound_;
    if (!values_.empty()) next = std::min(next, values_.front().round);
    if (folder_.summary.failure) next = std::min(next, folder_.summary.failure->round);
    return next;
}

}  // namespace libzepl
