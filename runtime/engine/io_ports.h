// Inputs and outputs of a session, as the session keeps them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "runtime/engine/channels.h"
#include "runtime/files.h"

namespace libzepl {

// How large the next chunk of an input is.
class ChunkSizes {
 public:
    ChunkSizes() = default;
    // `seed` and `input` choose the sequence of random chunks; `max` bounds them.
    ChunkSizes(std::uint64_t fixedChunk, std::optional<std::uint64_t> seed, std::uint64_t input, std::uint64_t max);
    std::uint64_t next();

 private:
    std::uint64_t fixed_ = 1;
    std::uint64_t max_ = 1;
    std::optional<std::mt19937_64> generator_{};  // of random chunks
};

struct PipeInput {
    Pipe* pipe = nullptr;
    std::unique_ptr<Source> source;     // or:
    const std::byte* memory = nullptr;  // elements of the caller's
    std::optional<std::uint64_t> length;
    std::uint64_t delivered = 0;
    std::uint64_t channels = 1;  // elements to a frame
    bool ended = false;
    bool zeroCopy = false;    // the pipe's storage is the caller's memory itself
    bool prefetches = false;  // and who reads it copies a block at a time
    std::size_t place = 0;    // among the session's inputs of pipes
    ChunkSizes chunks;

    // Whether something can be read from it, or its end be seen, without waiting.
    bool ready() const { return source == nullptr || source->ready(); }
};

struct TriggerInput {
    Trigger* trigger = nullptr;
    std::vector<TriggerRow> rows;
    std::size_t next = 0;
    std::int64_t position = -1;  // of the last row given, unwrapped
    ChunkSizes chunks;

    bool ended() const { return next == rows.size(); }
};

// The last whole frame that was taken, in bytes.
class LastFrame {
 public:
    void take(const std::byte* from, std::size_t size, std::size_t frame) {
        const std::size_t before = incomplete_.size(), whole = (before + size) / frame * frame;
        if (whole == 0) {
            incomplete_.insert(incomplete_.end(), from, from + size);
            return;
        }
        if (whole == frame && before > 0) {
            whole_ = std::move(incomplete_);
            whole_.insert(whole_.end(), from, from + (frame - before));
        } else {
            whole_.assign(from + (whole - frame - before), from + (whole - before));
        }
        incomplete_.assign(from + (whole - before), from + size);
    }
    const std::vector<std::byte>& bytes() const { return whole_; }  // empty before the first

 private:
    std::vector<std::byte> whole_, incomplete_;
};

// What an output has taken and not written yet. Rounds that give it a few elements each would else cost the dispatcher's turn
// and the sink's call in each.
class Unwritten {
 public:
    // Room for 4096 bytes; there is none before.
    void prepare() { bytes_ = std::make_unique_for_overwrite<std::byte[]>(room_ = 4096); }
    std::size_t room() const { return room_ - size_; }
    bool hasRoomFor(std::size_t bytes) const { return bytes <= room(); }
    // The next `n` elements of the port, which has them; there is room for them. Where they are now.
    const void* take(const PipePort& port, std::uint64_t n) {
        std::byte* to = bytes_.get() + size_;
        port.channel->copyOut(port.readPosition, to, n);
        size_ += n << port.channel->widthShift;
        return to;
    }
    std::size_t size() const { return size_; }
    const void* data() const { return bytes_.get(); }
    void clear() { size_ = 0; }  // `data()` keeps what it has until the next is taken

 private:
    std::unique_ptr<std::byte[]> bytes_;
    std::size_t room_ = 0, size_ = 0;
};

struct PipeOutput {
    PipePort port;  // reads, unless the pipe keeps all, for a session that collects it
    std::unique_ptr<Sink> sink;
    std::optional<std::uint64_t> limit;
    std::uint64_t count = 0;  // elements taken
    Unwritten unwritten{};
    LastFrame last{};
    bool independent = false;  // depends on no input
    std::size_t place = 0;     // among all outputs, from when the run begins
    std::optional<UntoldRate> untoldRate;

    bool complete() const { return limit && count >= *limit; }
};

struct TriggerOutput {
    TriggerPort port;
    std::unique_ptr<TriggerSink> sink;  // or:
    std::vector<std::uint32_t> events;  // what the session collects
    std::optional<std::uint64_t> limit;
    std::uint64_t count = 0;
    std::uint32_t last = 0;  // the position of the event that was taken last
    bool independent = false;
    std::size_t place = 0;

    bool complete() const { return limit && count >= *limit; }
};

// Several pipes that go to one sink side by side. A frame is taken when each of them has its elements of it: what one has
// ahead of the others waits in that pipe.
struct FrameOutput {
    struct Member {
        PipePort port;
        std::uint64_t channels = 1;       // elements to a frame
        std::vector<std::byte> joined{};  // elements that the end of the storage parts
        Unwritten unwritten{};
        LastFrame last{};

        std::uint64_t frames() const { return port.available() / channels; }
        bool isBehind() const { return port.mode == PortMode::reading && frames() == 0; }
    };
    std::string name;                    // as messages call it
    bool isTable = false;                // it has rows, else frames
    std::vector<Member> members;         // in the order of the columns
    std::vector<const void*> columns{};  // of the members, for a call of the sink
    std::unique_ptr<JointSink> sink;
    std::optional<std::uint64_t> limit;  // frames
    std::uint64_t count = 0;             // frames taken
    bool independent = false;            // no member depends on an input
    std::size_t place = 0;
    std::optional<UntoldRate> untoldRate;

    bool complete() const { return limit && count >= *limit; }
    bool isOpen() const { return members.front().port.mode == PortMode::reading; }
    std::uint64_t framesThere() const;
    // Whether it waits for a member while another has something.
    bool isHeldUp() const;
};

inline const std::string& channelName(const PipeOutput& output) { return output.port.channel->name; }
inline const std::string& channelName(const TriggerOutput& output) { return output.port.channel->name; }
inline const std::string& channelName(const FrameOutput& output) { return output.name; }

// What ends an output that nothing else ends.
template <class Output>
std::string limitRemedy(const Output&) {
    return "give it a limit: to FILE limit N";
}
inline std::string limitRemedy(const FrameOutput& output) {
    return output.isTable ? "give it a limit: `limit N` after its columns" : "give it a limit: to FILE limit N";
}

// Calls `f` with each port by which the output reads.
template <class Output, class F>
void forEachOutputPort(Output& output, F f) {
    if constexpr (requires { output.members; })
        for (auto& member : output.members) f(member.port);
    else
        f(output.port);
}

}  // namespace libzepl
