// Recordings: where the elements of a pipe come from, and where they go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "element_type.h"

namespace libzepl {

// More channels than that are a mistake.
inline constexpr int maxChannels = 1 << 20;

// Which elements of which file. Every failure below is a Problem that names the file, the place in it, the reason, and
// what to do.
struct ReadRequest {
    std::filesystem::path path;  // "-" is standard input, raw; "-.wav" and the like are standard input in that format
    ElementType type = ElementType::int16;
    std::optional<std::int64_t> channel{};                            // from 1
    std::optional<std::variant<std::int64_t, std::string>> column{};  // from 1, or the column's heading
    std::string conversion{};                                         // empty, or one of conversionNames()
    // All channels, frame by frame; the file must have just as many. A file of several channels is refused when neither one
    // of them nor all are asked for.
    std::optional<std::int64_t> interleaved{};
    std::int64_t elements =
        0;                 // of the array that takes a channel or column each: the file must have just as many; else 0
    bool isSplit = false;  // takes all channels, however many there are, for an array whose elements get one each
    bool partial = false;  // takes what is there of a file that is cut or damaged, and says so in the source's notes
    std::string format{};  // `wav`, `flac`, `npy`, `csv`, `raw` and so on, whatever the name ends in; empty: as it ends
    int descriptor = -1;   // of an open stream that `path` only names; the source takes it over
};

// A place in a live stream where frames are missing: before the frame of that number, or, where gaps are filled, zeros from
// it on.
struct Gap {
    std::uint64_t frame = 0;  // of what was given, from 0
    std::uint64_t lost = 0;   // frames
};

// What a source that could not wait has lost.
struct Losses {
    std::uint64_t frames = 0;  // in all
    std::uint64_t places = 0;
    std::vector<Gap> gaps{};   // the first of the places
    bool isFilled = false;     // zeros stand for them
    bool isEstimated = false;  // some frames were lost before anybody could count them
};

// The conversions that can be asked for when a file's samples don't fit the pipe's type, and what each does, for messages
// and help.
struct ConversionName {
    std::string name;
    std::string meaning;
};
const std::vector<ConversionName>& conversionNames();

// The elements of a recording, in order, in the type that was asked for.
class Source {
 public:
    virtual ~Source() = default;
    // Fills `to` with up to `count` elements and returns how many: fewer than `count` only at the end, or where a live stream
    // has no more yet; 0 only at the end.
    virtual std::size_t read(void* to, std::size_t count) = 0;
    // Whether read() would not wait for a live stream, and what to wait on where it would: -1 for what never waits.
    virtual bool ready() const { return true; }
    virtual int descriptor() const { return -1; }
    // Around a wait on descriptor(): from arm() on it becomes readable when ready() turns true. False, and nothing to disarm,
    // where ready() is true by then.
    virtual bool arm() { return true; }
    virtual void disarm() {}
    // The elements in all, where the file says; without `channel`, channels() to a frame.
    virtual std::optional<std::uint64_t> length() const = 0;
    // Elements of this source to a frame.
    virtual int channels() const = 0;
    // Frames a second, where the file says.
    virtual std::optional<double> rate() const = 0;
    // What the file lacked where that was asked to be put up with; complete once the end was read.
    virtual std::vector<std::string> notes() const { return {}; }
    // The run begins, when every task is set up, and ends: what reads by itself, such as a sound card, does so in between.
    virtual void start() {}
    virtual void stop() {}
    // What of the elements before the last one given is missing; known once it was stopped.
    virtual Losses losses() const { return {}; }
};

std::unique_ptr<Source> openSource(const ReadRequest& request);

// What a source of CSV is, too: the headings of the file's columns, none where it has no heading line.
class ColumnHeadings {
 public:
    virtual ~ColumnHeadings() = default;
    virtual const std::vector<std::string>& headings() const = 0;
};

// Where the bytes of an output go that is no file, such as a connection. Every wait ends with a stop request.
class OutputStream {
 public:
    virtual ~OutputStream() = default;
    // The run begins: waits for whoever takes the bytes.
    virtual void start() {}
    virtual void write(const std::byte* from, std::size_t count) = 0;
    // Nothing more comes for now, or at all.
    virtual void flush() {}
    virtual void complete() {}
    virtual std::vector<std::string> notes() const { return {}; }
};

// How an output is written.
struct OutputOptions {
    bool sync = true;                        // waits until the disk has it, and its name
    bool checkOnly = false;                  // writes nothing: whether it could be opened is all that counts
    std::shared_ptr<OutputStream> stream{};  // in place of a file, which the path only names
};

class OutputFile;

// What all outputs have at their end. What was written appears under its name only with finish(); an output that is
// destroyed before that leaves nothing behind (streams, such as standard output, apart).
class Output {
 public:
    virtual ~Output() = default;
    virtual void finish() = 0;
    // An output to a file finishes in two steps: complete() writes all that is due, and its file is then published.
    virtual void complete() { finish(); }
    virtual OutputFile* file() { return nullptr; }
};

// Takes elements of one type; of a run that nothing live concerns up to 4096 bytes later than they are written, at its end at last.
class Sink : public Output {
 public:
    virtual void write(const void* from, std::size_t count) = 0;
    // Elements to a frame. Only whole frames are written.
    virtual int channels() const { return 1; }
};

// Takes frames of several pipes, side by side.
class JointSink : public Output {
 public:
    // `columns[i]` has the elements of the pipe `i` for so many frames.
    virtual void write(const void* const* columns, std::size_t frames) = 0;
};

// A column that counts: frame n has n * step / rate.
struct Counting {
    double step = 1;
    double rate = 1;
};

// What a joint output has of a pipe, or a column that counts.
struct ColumnRequest {
    std::string heading{};
    ElementType type = ElementType::float64;
    int channels = 1;  // elements of the pipe to a frame: as many columns `heading[1]`, `heading[2]`, ...
    std::optional<Counting> counting{};  // then it is none of the pipes
};

struct WriteRequest {
    std::filesystem::path path;  // "-" is standard output, raw; "-.wav" and the like are standard output in that format
    ElementType type = ElementType::int16;
    double rate = 1000;                    // frames a second, for formats that keep it
    std::string name{};                    // the pipe's name: a CSV's heading
    std::optional<std::uint64_t> limit{};  // elements, where known: a format that cannot hold them refuses
    OutputOptions output{};
    int channels = 1;      // elements to a frame: the file's channels, a CSV's columns
    std::string format{};  // as of a ReadRequest
};

std::unique_ptr<Sink> createSink(const WriteRequest& request);

// A file of several pipes. The request's type, name and channels follow from the columns; its limit is of frames. CSV has a
// column for each, of its own type; other formats hold one type, and interleave.
std::unique_ptr<JointSink> createJointSink(WriteRequest request, const std::vector<ColumnRequest>& columns);

// The rate that an output's file states without having been told so.
struct UntoldRate {
    std::string file;
    double rate = 1000;    // frames a second
    bool assumed = false;  // else it is the procedure's or an input's
    bool seconds = false;  // a column of the file counts seconds by it
};

// Whether files of that name and format state a rate.
bool statesRate(const std::filesystem::path& path, const std::string& format);

// Whether the name is standard input or output: "-", or "-.wav" and the like.
bool isStandardStream(const std::filesystem::path& path);

// Whether the name is the address of a connection or a sound card (addresses.h), as "tcp://host:5000" or "alsa:hw:0" are, and
// no file's.
bool isAddress(const std::filesystem::path& path);

// Whether the name itself says in which format it is, and the endings that do, for messages: ".npy, .csv, .bin, .wav ...".
bool tellsFormat(const std::filesystem::path& path);
std::string fileEndings();

// Whether what has that name, and states no other format, is raw samples, which do not say of which type they are.
bool holdsRawSamples(const std::filesystem::path& path);

// Samples in memory. They stay as they are, and where they are, while they are read.
struct MemorySamples {
    ElementType type = ElementType::int16;
    const void* elements = nullptr;
    std::uint64_t frames = 0;
    int channels = 1;                // samples to a frame
    std::ptrdiff_t frameStep = 0;    // elements from a frame to the next; 0: as many as there are channels
    std::ptrdiff_t channelStep = 1;  // elements from a channel to the next
};

// A vector's elements from a file of any of the formats, as the raw bytes of `type`. What the file lacked is added to
// `notes`. A file of much more than `maxBytes` is refused while it is read.
std::vector<std::byte> readVector(const ReadRequest& request, std::vector<std::string>& notes,
                                  std::uint64_t maxBytes = ~std::uint64_t{0});

// A row of a trigger's file: an assertion or a status.
struct TriggerRow {
    bool asserts = false;
    std::uint32_t position = 0;
};

// Reads a trigger's file: CSV with the heading "event,position" and rows "assert,P" and "status,P". A third column "seconds"
// is not looked at.
std::vector<TriggerRow> readTriggerRows(const std::filesystem::path& path, const std::string& format = {});

// Takes what goes to a trigger's file. With `secondsRate`, frames a second, a third column says when each position is.
class TriggerSink : public Output {
 public:
    virtual void write(const TriggerRow& row) = 0;
};
std::unique_ptr<TriggerSink> createTriggerSink(const std::filesystem::path& path, OutputOptions options = {},
                                               const std::string& format = {}, std::optional<double> secondsRate = {});

// The bytes of a file as text, for procedures.
std::string readTextFile(const std::filesystem::path& path);

}  // namespace libzepl
