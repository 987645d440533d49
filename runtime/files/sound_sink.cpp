// Recordings written through the sound library.

#include <sndfile.h>

#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/diagnostics.h"
#include "runtime/files/input_file.h"
#include "runtime/files/output_file.h"
#include "runtime/files/sound_formats.h"

namespace libzepl {

namespace {

// The file that the library writes through. No exception may pass through the library, so the first is kept.
struct LibraryFile {
    explicit LibraryFile(OutputFile& written) : file(written), streams(written.isStream()) {}

    std::uint64_t length() const { return streams ? sent : file.size(); }
    std::uint64_t position() const { return streams ? place : file.position(); }
    void seek(std::uint64_t to) {
        place = to;
        if (!streams) file.seek(to);
    }
    // What has been sent to a stream cannot be changed: its header keeps the length open.
    void write(const void* from, std::size_t count) {
        if (!streams || place == sent) {
            file.write(from, count);
            sent += count;
        }
        place += count;
    }

    template <class Action>
    bool keepingErrors(Action action) {
        if (error) return false;
        try {
            action();
            return true;
        } catch (...) {
            error = std::current_exception();
            return false;
        }
    }
    void rethrow() const {
        if (error) std::rethrow_exception(error);
    }

    OutputFile& file;
    bool streams;
    std::uint64_t place = 0, sent = 0;  // of a stream
    std::exception_ptr error;
};

LibraryFile& libraryFile(void* data) { return *static_cast<LibraryFile*>(data); }

sf_count_t fileLength(void* data) { return static_cast<sf_count_t>(libraryFile(data).length()); }

sf_count_t filePosition(void* data) { return static_cast<sf_count_t>(libraryFile(data).position()); }

sf_count_t seekFile(sf_count_t offset, int whence, void* data) {
    LibraryFile& file = libraryFile(data);
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? filePosition(data) : fileLength(data);
    const bool moved = file.keepingErrors([&] { file.seek(static_cast<std::uint64_t>(base + offset)); });
    return moved ? base + offset : -1;
}

sf_count_t readNothing(void*, sf_count_t, void*) { return 0; }

// The library stamps the chunk of peaks that it gives RF64, and the same run writes the same bytes: the time becomes 0.
std::string withoutTime(const void* header, std::size_t count) {
    std::string bytes(static_cast<const char*>(header), count);
    const std::size_t peaks = bytes.find("PEAK");
    if (peaks != std::string::npos && peaks + 16 <= count) bytes.replace(peaks + 12, 4, 4, '\0');
    return bytes;
}

sf_count_t writeFile(const void* from, sf_count_t count, void* data) {
    LibraryFile& file = libraryFile(data);
    if (count >= 4 && file.position() == 0 && std::string_view(static_cast<const char*>(from), 4) == "RF64") {
        const std::string header = withoutTime(from, static_cast<std::size_t>(count));
        return file.keepingErrors([&] { file.write(header.data(), header.size()); }) ? count : 0;
    }
    return file.keepingErrors([&] { file.write(from, static_cast<std::size_t>(count)); }) ? count : 0;
}

sf_count_t writeElements(SNDFILE* sound, const void* from, sf_count_t count, ElementType type) {
    switch (type) {
        case ElementType::int16:
            return sf_write_short(sound, static_cast<const short*>(from), count);
        case ElementType::int32:
            return sf_write_int(sound, static_cast<const int*>(from), count);
        case ElementType::float32:
            return sf_write_float(sound, static_cast<const float*>(from), count);
        default:
            return sf_write_double(sound, static_cast<const double*>(from), count);
    }
}

class SoundSink final : public FileSink<Sink> {
 public:
    SoundSink(const WriteRequest& request, const SoundFormat& format)
        : FileSink(request.path, request.output), library_(file_), type_(request.type), format_(format) {
        SF_INFO info{};
        info.channels = request.channels;
        info.samplerate = static_cast<int>(request.rate);
        info.format = format.container | format.encodings[static_cast<std::size_t>(type_)];
        SF_VIRTUAL_IO access{fileLength, seekFile, readNothing, writeFile, filePosition};
        sound_ = sf_open_virtual(&access, SFM_WRITE, &info, &library_);
        library_.rethrow();
        if (sound_ == nullptr) throw writeProblem(sf_strerror(nullptr));
        for (const int setting : {SFC_SET_NORM_FLOAT, SFC_SET_NORM_DOUBLE, SFC_SET_CLIPPING, SFC_SET_ADD_PEAK_CHUNK})
            sf_command(sound_, setting, nullptr, SF_FALSE);
        // The header with the peaks is longer than the one that the first write puts in its place.
        if (!library_.streams) file_.clear();
    }
    ~SoundSink() override {
        if (sound_ != nullptr) sf_close(sound_);
    }
    SoundSink(const SoundSink&) = delete;
    SoundSink& operator=(const SoundSink&) = delete;

    void write(const void* from, std::size_t count) override {
        if (count > format_.maxBytes / widthOf(type_) - written_)
            throw fileProblem(file_.name(),
                              "the recording grows past what " + std::string(format_.name) + " holds, " +
                                  std::to_string(format_.maxBytes / widthOf(type_)) + " elements",
                              "write .w64 or .npy, which have no such limit");
        const auto due = static_cast<sf_count_t>(count);
        const sf_count_t done = writeElements(sound_, from, due, type_);
        library_.rethrow();
        if (done != due) throw writeProblem(sf_strerror(sound_));
        written_ += count;
    }

    void complete() override {
        if (written_ == 0) sf_command(sound_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
        const int status = sf_close(std::exchange(sound_, nullptr));
        library_.rethrow();
        if (status != SF_ERR_NO_ERROR) throw writeProblem(sf_error_number(status));
        file_.complete();
    }

 private:
    Problem writeProblem(const char* reason) const {
        return fileProblem(file_.name(), std::string("cannot be written: ") + reason);
    }

    LibraryFile library_;
    ElementType type_;
    const SoundFormat& format_;
    SNDFILE* sound_ = nullptr;
    std::uint64_t written_ = 0;  // elements
};

}  // namespace

std::unique_ptr<Sink> createSound(const WriteRequest& request, const SoundFormat& format) {
    checkSoundRequest(request, format);
    if (isStream(request.path) && format.container != SF_FORMAT_FLAC) return createSoundStream(request, format);
    return std::make_unique<SoundSink>(request, format);
}

std::unique_ptr<Sink> createSound(const WriteRequest& request) {
    return createSound(request, soundFormatFor(request.path, request.format));
}

}  // namespace libzepl
