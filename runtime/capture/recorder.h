// Keeps a run in a capture's folder while it goes on.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/capture/captured_run.h"
#include "runtime/capture/events.h"
#include "runtime/capture/log_files.h"
#include "runtime/capture/sums.h"
#include "runtime/engine/engine.h"

namespace libzepl {

// What each output has of the session, and the bytes of each of its columns to a frame.
std::vector<CapturedOutput> outputsOf(const Engine& e);
OutputSum sumFor(const CapturedOutput& output);

// Gives `take` what the outputs that the session itself keeps have of elements since the last time: their place, a column and
// its frames.
class KeptOutputs {
 public:
    void begin(Engine& e);
    template <class Take>
    void look(Take take) {
        for (Kept& each : kept_) {
            const std::uint64_t n = each.pipe->writePosition - each.seen;
            if (n == 0) continue;
            const void* column = each.pipe->storage + (each.seen << each.pipe->widthShift);
            each.seen += n;
            take(each.place, &column, n);
        }
    }

 private:
    struct Kept {
        const Pipe* pipe;
        std::size_t place;
        std::uint64_t seen = 0;
    };
    std::vector<Kept> kept_;
};

class Recorder final : public RunRecorder {
 public:
    // Makes the folder and its files; a Problem where that cannot be done. `run` has what is known of it before it begins.
    Recorder(std::filesystem::path folder, CapturedRun run, const std::optional<std::string>& procedure);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder() override;

    std::optional<Problem> failure() const;

    void begin(Engine& e) override;
    void elements(const std::byte* from, std::uint64_t bytes) noexcept override;
    void delivered(std::uint64_t round, std::size_t input, std::uint64_t count, bool ended) noexcept override;
    void value(std::uint64_t round, std::size_t variable, const Cell& cell) noexcept override;
    void served(std::uint64_t round) noexcept override;
    void taken(std::uint64_t round, std::size_t output, const void* const* columns,
               std::uint64_t count) noexcept override;
    void failed(std::uint64_t round, const std::string& reason, const std::string& remedy) noexcept override;
    void end(Engine& e) noexcept override;
    void crashed(std::uint64_t round) noexcept override;

 private:
    struct Output {
        OutputSum sum;
        std::uint64_t sincePoint = 0;  // frames
    };
    void point(std::uint64_t round, std::size_t output) noexcept;
    void know(std::uint64_t round) noexcept;
    void makeFiles(const std::optional<std::string>& procedure);
    void discard() noexcept;
    void keepNotes(const Engine& e) noexcept;
    void lookAtKept(std::uint64_t round) noexcept;

    std::filesystem::path folder_;
    CapturedRun run_;
    bool isFolderNew_ = false, hasBegun_ = false;
    std::optional<Problem> failure_;  // of the beginning
    std::unique_ptr<LogFiles> files_;
    std::optional<EventWriter> events_;
    std::vector<Output> outputs_;
    KeptOutputs kept_;
    std::uint64_t known_ = 0;
};

}  // namespace libzepl
