#include <algorithm>

#include "runtime/diagnostics.h"
#include "runtime/files/convert.h"
#include "runtime/files/formats.h"
#include "runtime/files/input_file.h"
#include "runtime/files/output_place.h"

namespace libzepl {

std::string endingOf(const std::filesystem::path& path) {
    std::string ending = path.extension().string();
    for (char& letter : ending)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return ending;
}

FileKind kindOf(const std::filesystem::path& path) {
    if (path == "-") return FileKind::standardStream;
    const std::string ending = endingOf(path);
    if (ending == ".npy") return FileKind::npy;
    if (ending == ".csv") return FileKind::csv;
    if (ending == ".bin") return FileKind::raw;
    if (isSoundEnding(ending)) return FileKind::sound;
    if (isStream(path)) return FileKind::raw;
    throw fileProblem(path.string(),
                      ending.empty() ? "the name has no ending that tells the format"
                                     : "the ending " + libzepl::quoted(ending) + " is of no known format",
                      "the endings are .npy, .csv, .bin, " + soundEndings());
}

std::unique_ptr<Source> openSource(const ReadRequest& request) {
    const FileKind kind = kindOf(request.path);
    conversionOf(request);  // refuses a word that is none, before the file is looked at
    switch (kind) {
        case FileKind::npy:
            return openNpy(request);
        case FileKind::csv:
            return openCsv(request);
        case FileKind::sound:
            return openSound(request);
        default:
            return openRaw(request);
    }
}

std::unique_ptr<Sink> createSink(const WriteRequest& request) {
    const FileKind kind = kindOf(request.path);
    if ((kind == FileKind::npy || kind == FileKind::sound) && isStream(request.path))
        throw fileProblem(request.path.string(),
                          "a pipe or a device cannot take this format, whose first bytes are written last",
                          "write .csv or .bin to it, or write a file");
    switch (kind) {
        case FileKind::npy:
            return createNpy(request);
        case FileKind::csv:
            return createCsv(request);
        case FileKind::sound:
            return createSound(request);
        default:
            return createRaw(request);
    }
}

std::vector<std::byte> readVector(const ReadRequest& request) {
    constexpr std::size_t piece = 65536;  // elements
    const std::unique_ptr<Source> source = openSource(request);
    const std::size_t width = widthOf(request.type);
    std::vector<std::byte> bytes;
    std::size_t got = 0;
    do {
        const std::size_t kept = bytes.size();
        bytes.resize(kept + piece * width);
        got = source->read(bytes.data() + kept, piece);
        bytes.resize(kept + got * width);
    } while (got > 0);
    return bytes;
}

}  // namespace libzepl
