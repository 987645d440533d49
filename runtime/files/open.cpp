#include <algorithm>

#include "runtime/diagnostics.h"
#include "runtime/files/convert.h"
#include "runtime/files/formats.h"
#include "runtime/files/input_file.h"
#include "runtime/files/output_place.h"

namespace libzepl {

namespace {

std::string inSmallLetters(std::string text) {
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

std::optional<FileKind> kindOfEnding(const std::string& ending) {
    if (ending == ".npy") return FileKind::npy;
    if (ending == ".csv") return FileKind::csv;
    if (ending == ".bin") return FileKind::raw;
    if (isSoundEnding(ending)) return FileKind::sound;
    return std::nullopt;
}

FileKind kindOfFormat(const std::filesystem::path& path, const std::string& format) {
    if (format == "raw") return FileKind::raw;
    if (const auto kind = kindOfEnding("." + inSmallLetters(format))) return *kind;
    std::string all = soundEndings();
    std::erase(all, '.');
    throw fileProblem(path.string(), "there is no format " + libzepl::quoted(format),
                      "the formats are npy, csv, raw, " + all);
}

// Frames of one channel are elements, so what can be incomplete are frames of several: their last elements are not written.
class FrameSink final : public Sink {
 public:
    FrameSink(std::unique_ptr<Sink> sink, const WriteRequest& request)
        : sink_(std::move(sink)),
          width_(widthOf(request.type)),
          channels_(static_cast<std::size_t>(request.channels)) {}

    void write(const void* from, std::size_t count) override {
        const auto* bytes = static_cast<const std::byte*>(from);
        const std::size_t frame = channels_ * width_;
        std::size_t left = count * width_;
        if (!rest_.empty()) {
            const std::size_t taken = std::min(left, frame - rest_.size());
            rest_.insert(rest_.end(), bytes, bytes + taken);
            bytes += taken;
            left -= taken;
            if (rest_.size() < frame) return;
            sink_->write(rest_.data(), channels_);
        }
        sink_->write(bytes, left / frame * channels_);
        rest_.assign(bytes + left / frame * frame, bytes + left);
    }
    void complete() override { sink_->complete(); }
    void finish() override { sink_->finish(); }
    OutputFile* file() override { return sink_->file(); }
    int channels() const override { return static_cast<int>(channels_); }

 private:
    std::unique_ptr<Sink> sink_;
    std::size_t width_, channels_;
    std::vector<std::byte> rest_;  // of an incomplete frame
};

std::unique_ptr<Sink> createPlainSink(const WriteRequest& request) {
    switch (kindOf(request.path, request.format)) {
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

}  // namespace

std::string endingOf(const std::filesystem::path& path) { return inSmallLetters(path.extension().string()); }

std::string endingOf(const std::filesystem::path& path, const std::string& format) {
    return format.empty() ? endingOf(path) : "." + inSmallLetters(format);
}

bool isStandardStream(const std::filesystem::path& path) {
    const std::string& name = path.native();
    return name == "-" || (name.starts_with("-.") && name.size() > 2 && name.find('/') == std::string::npos);
}

bool isAddress(const std::filesystem::path& path) {
    const std::string& name = path.native();
    if (name.starts_with("alsa:")) return true;
    const std::size_t scheme = name.find("://");
    const auto isOfScheme = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'; };
    return scheme != std::string::npos && scheme > 0 &&
           std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(scheme), isOfScheme);
}

FileKind kindOf(const std::filesystem::path& path, const std::string& format) {
    if (!format.empty()) return kindOfFormat(path, format);
    if (isAddress(path)) return FileKind::raw;
    const std::string ending = endingOf(path);
    if (const auto kind = kindOfEnding(ending)) return *kind;
    if (isStream(path)) return FileKind::raw;
    throw fileProblem(path.string(),
                      ending.empty() ? "the name has no ending that says which format it is"
                                     : "the ending " + libzepl::quoted(ending) + " is of no known format",
                      "the endings are " + fileEndings() +
                          "; in a procedure `format wav` and so on after the name says what another one holds");
}

bool tellsFormat(const std::filesystem::path& path) {
    if (isStandardStream(path)) return path != "-";
    if (isAddress(path)) return false;
    return kindOfEnding(endingOf(path)).has_value();
}

std::string fileEndings() { return ".npy, .csv, .bin, " + soundEndings(); }

bool holdsRawSamples(const std::filesystem::path& path) {
    const ReadRequest request = withFormat(ReadRequest{.path = path});
    return kindOf(request.path, request.format) == FileKind::raw;
}

bool statesRate(const std::filesystem::path& path, const std::string& format) {
    const WriteRequest request = withFormat(WriteRequest{.path = path, .format = format});
    return kindOf(request.path, request.format) == FileKind::sound;
}

std::unique_ptr<Source> openSource(const ReadRequest& given) {
    const ReadRequest request = withFormat(given);
    const FileKind kind = kindOf(request.path, request.format);
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

std::unique_ptr<Sink> createSink(const WriteRequest& given) {
    const WriteRequest request = withFormat(given);
    if (request.channels < 1 || request.channels > maxChannels)
        throw fileProblem(request.path.string(), std::to_string(request.channels) + " channels are not possible",
                          "a file has 1 to " + std::to_string(maxChannels) + " channels");
    std::unique_ptr<Sink> sink = createPlainSink(request);
    if (request.channels == 1) return sink;
    return std::make_unique<FrameSink>(std::move(sink), request);
}

std::vector<std::byte> readVector(const ReadRequest& request, std::vector<std::string>& notes, std::uint64_t maxBytes) {
    constexpr std::size_t piece = 65536;  // elements
    const std::unique_ptr<Source> source = openSource(request);
    const std::size_t width = widthOf(request.type);
    std::vector<std::byte> bytes;
    std::size_t got = 0;
    do {
        const std::size_t kept = bytes.size();
        if (kept > maxBytes)
            throw fileProblem(
                request.path.string(),
                "has more elements than the memory limit of " + std::to_string(maxBytes) + " bytes has room for",
                "read it into a pipe, or raise --memory");
        bytes.resize(kept + piece * width);
        got = source->read(bytes.data() + kept, piece);
        bytes.resize(kept + got * width);
    } while (got > 0);
    for (std::string& note : source->notes()) notes.push_back(std::move(note));
    return bytes;
}

}  // namespace libzepl
