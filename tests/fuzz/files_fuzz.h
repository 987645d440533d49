// What the fuzz targets of the file readers share.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "runtime/diagnostics.h"
#include "runtime/files.h"

namespace libzepl {

// A file with the given bytes; each process overwrites its own.
inline std::filesystem::path fuzzFile(const std::string& ending, const std::uint8_t* bytes, std::size_t count) {
    static const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("fuzz" + std::to_string(::getpid()) + ending);
    static const int atExit = std::atexit([] { std::filesystem::remove(path); });
    static_cast<void>(atExit);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    return path;
}

// A pipe that gives the bytes, which its buffer holds, and ends.
class FuzzPipe {
 public:
    FuzzPipe(const std::uint8_t* bytes, std::size_t count) {
        if (::pipe2(ends_, O_CLOEXEC) != 0) std::abort();
        if (::write(ends_[1], bytes, count) != static_cast<ssize_t>(count)) std::abort();
        ::close(ends_[1]);
    }
    FuzzPipe(const FuzzPipe&) = delete;
    FuzzPipe& operator=(const FuzzPipe&) = delete;
    ~FuzzPipe() { ::close(ends_[0]); }
    std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(ends_[0]); }

 private:
    int ends_[2];
};

// Reads all of a recording of that ending; the first byte chooses type, conversion, one channel or two, whether a part will
// do, and whether it comes through a pipe. A refusal must have a message, and nothing else may be thrown.
inline void fuzzReader(const std::string& ending, const std::uint8_t* bytes, std::size_t count) {
    if (count == 0) return;
    constexpr std::uint64_t mostElements = std::uint64_t{1} << 20;  // a few bytes may stand for very many elements
    static const std::array<std::string, 4> conversions{"", "rounded", "truncated", "scaled"};
    ReadRequest request;
    std::optional<FuzzPipe> pipe;
    if ((bytes[0] & 0x80) != 0 && count < 60000) {
        pipe.emplace(bytes + 1, count - 1);
        request.path = pipe->path();
        request.format = ending.substr(1);
    } else {
        request.path = fuzzFile(ending, bytes + 1, count - 1);
    }
    request.partial = (bytes[0] & 0x40) != 0;
    request.type = allElementTypes[bytes[0] & 3];
    request.conversion = conversions[bytes[0] >> 2 & 3];
    const int channel = bytes[0] >> 4 & 3;
    if (channel == 3) request.interleaved = 2;
    if (channel == 1 || channel == 2) request.channel = channel;
    try {
        const auto source = openSource(request);
        std::array<double, 1000> piece;
        std::uint64_t total = 0;
        for (std::size_t got = piece.size(); got > 0 && total < mostElements; total += got)
            got = source->read(piece.data(), piece.size());
        if (source->channels() < 1) std::abort();
        for (const std::string& note : source->notes())
            if (note.empty()) std::abort();
    } catch (const Problem& problem) {
        if (std::string(problem.what()).empty()) std::abort();
    }
}

}  // namespace libzepl
