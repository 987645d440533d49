// What a capture says of its run: how it was called, what it consisted of, and with which versions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "runtime/element_type.h"
#include "runtime/files.h"
#include "runtime/report.h"
#include "runtime/session.h"

namespace libzepl {

inline constexpr const char* runName = "run";                 // its file in the folder
inline constexpr const char* procedureName = "procedure.zp";  // the procedure's text

struct CapturedInput {
    std::uint64_t pipe = 0;  // its place in the session
    std::string name{};
    ElementType type = ElementType::int16;
    std::uint64_t channels = 1;
    std::optional<std::uint64_t> length{};
    std::optional<double> rate{};
    bool isMemory = false;  // it was read where it was in the caller's memory
};

struct CapturedRows {
    std::uint64_t trigger = 0;
    std::string name{};
    std::vector<TriggerRow> rows{};
};

struct CapturedVariable {
    std::string name{};
    ElementType type = ElementType::int16;
    std::uint64_t cell = 0;  // when the run began
    bool isSet = false;      // before that, by another thread
};

struct CapturedVector {
    std::string name{};
    ElementType type = ElementType::int16;
    std::vector<std::byte> bytes{};
};

struct CapturedOutput {
    enum class Kind : std::uint8_t { pipe, frames, trigger };
    struct Member {
        std::uint64_t channel = 0;  // the place of the pipe or trigger in the session
        std::string name{};
        ElementType type = ElementType::int16;
        std::uint64_t channels = 1;  // elements to a frame
    };
    Kind kind = Kind::pipe;
    std::string name{};
    bool isTable = false;
    bool isKept = false;  // the session itself kept all, for its caller
    std::optional<std::uint64_t> limit{};
    std::vector<Member> members{};  // just one where it is no output of frames
};

struct CapturedRun {
    static constexpr std::uint64_t formatVersion = 2;

    std::uint32_t build = 0, interfaceVersion = 0;  // of the runtime
    std::vector<ReportModule> modules{};
    // How the procedure was called, where there was one.
    bool hasProcedure = false;
    std::string procedure{};  // its file
    std::uint64_t textSum = 0;
    bool feedGiven = false;
    std::map<std::string, std::string> values{}, inputFiles{}, outputFiles{};
    std::map<std::string, std::uint64_t> lengths{};  // of recordings, in frames, that expressions took
    std::vector<CapturedVector> vectors{};           // that came from files
    // The session. Of its options what results can depend on.
    SessionOptions options{};
    std::uint8_t shortcuts = 0;  // that rounds could take: 1 where all inputs were in memory, 2 for small drains
    std::vector<CapturedInput> inputs{};
    std::vector<CapturedRows> rows{};
    std::vector<CapturedVariable> variables{};
    std::vector<CapturedOutput> outputs{};
};

void writeRun(const std::filesystem::path& file, const CapturedRun& run);
// A Problem where it is damaged, or of another version of the format.
CapturedRun parseRun(const std::vector<std::byte>& bytes, const std::string& name);

// The bytes of a whole file.
std::vector<std::byte> bytesOfFile(const std::filesystem::path& file);

}  // namespace libzepl
