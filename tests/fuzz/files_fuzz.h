// What the fuzz targets of the file readers share.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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

// Reads all of a recording of that ending; the first byte chooses type, conversion and channel. A refusal must have a
// message, and nothing else may be thrown.
inline void fuzzReader(const std::string& ending, const std::uint8_t* bytes, std::size_t count) {
    if (count == 0) return;
    constexpr std::uint64_t mostElements = std::uint64_t{1} << 20;  // a few bytes may stand for very many elements
    static const std::array<std::string, 4> conversions{"", "rounded", "truncated", "scaled"};
    ReadRequest request;
    request.path = fuzzFile(ending, bytes + 1, count - 1);
    request.type = allElementTypes[bytes[0] & 3];
    request.conversion = conversions[bytes[0] >> 2 & 3];
    if ((bytes[0] >> 4 & 3) != 0) request.channel = bytes[0] >> 4 & 3;
    try {
        const auto source = openSource(request);
        std::array<double, 1000> piece;
        std::uint64_t total = 0;
        for (std::size_t got = piece.size(); got == piece.size() && total < mostElements; total += got)
            got = source->read(piece.data(), piece.size());
        if (source->channels() < 1) std::abort();
    } catch (const Problem& problem) {
        if (std::string(problem.what()).empty()) std::abort();
    }
}

}  // namespace libzepl
