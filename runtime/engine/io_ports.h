// Inputs and outputs of a session, as the session keeps them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
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
    bool random_ = false;
    std::mt19937_64 generator_;
};

struct PipeInput {
    Pipe* pipe = nullptr;
    std::unique_ptr<Source> source;     // or:
    const std::byte* memory = nullptr;  // elements of the caller's
    std::optional<std::uint64_t> length;
    std::uint64_t delivered = 0;
    std::uint64_t channels = 1;  // elements to a frame
    bool ended = false;
    bool zeroCopy = false;  // the pipe's storage is the caller's memory itself
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

struct PipeOutput {
    PipePort port;  // reads, unless the pipe keeps all, for a session that collects it
    std::unique_ptr<Sink> sink;
    std::optional<std::uint64_t> limit;
    std::uint64_t count = 0;   // elements taken
    bool independent = false;  // depends on no input
    std::optional<UntoldRate> untoldRate;

    bool complete() const { return limit && count >= *limit; }
};

struct TriggerOutput {
    TriggerPort port;
    std::unique_ptr<TriggerSink> sink;  // or:
    std::vector<std::uint32_t> events;  // what the session collects
    std::optional<std::uint64_t> limit;
    std::uint64_t count = 0;
    bool independent = false;

    bool complete() const { return limit && count >= *limit; }
};

}  // namespace libzepl
