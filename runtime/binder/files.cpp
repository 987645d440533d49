#include "runtime/binder/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <map>
#include <set>
#include <sstream>

namespace libzepl {

namespace {

// A positive number after a clause of the option.
double clauseNumber(const std::string& word, const std::string& text, const std::string& option) {
    const std::optional<Number> number = parseNumber(text);
    if (number && number->real > 0 && number->real < 1e300) return number->real;
    throw Problem(option + ": " + libzepl::quoted(word) + " takes a positive, finite number, not " +
                  libzepl::quoted(text));
}

// The address that an option gives, with the clauses that may follow it after a space, as they do in a procedure.
std::string takeAddress(FileClause& clause, const std::string& given, const std::string& option) {
    std::istringstream words(given);
    std::string address, word, value;
    std::set<std::string> isGiven;
    words >> address;
    for (; words >> word; value.clear()) {
        if (!isGiven.insert(word).second)
            throw Problem(option + ": " + libzepl::quoted(word) + " is given twice", "give it once");
        if (word == "fill" || (word == "partial" && option.starts_with("--in "))) {
            (word == "fill" ? clause.fill : clause.partial) = true;
            continue;
        }
        if (word != "format" && word != "timeout" && word != "rate")
            throw Problem(
                option + ": " + libzepl::quoted(word) + " is no clause of an address",
                "after a space the address takes format WORD, timeout SECONDS, rate R, fill; one that is read takes partial, too");
        if (!(words >> value)) throw Problem(option + ": " + libzepl::quoted(word) + " lacks its value");
        if (word == "format")
            clause.format = value;
        else
            (word == "rate" ? clause.rate : clause.timeout) = clauseNumber(word, value, option);
    }
    return address;
}

std::optional<ChannelFile> fileOf(const Procedure& procedure, const BindOptions& options, const std::string& option,
                                  const std::string& name, const std::optional<FileClause>& declared) {
    const std::map<std::string, std::string>& given = option == "--in" ? options.inputs : options.outputs;
    const auto replaced = given.find(name);
    if (replaced == given.end()) {
        if (!declared || options.recorded != nullptr) return std::nullopt;
        return ChannelFile{*declared, pathBeside(procedure, declared->path), {}};
    }
    ChannelFile file{declared.value_or(FileClause{}), replaced->second, option + " " + name};
    if (isAddress(replaced->second)) file.path = takeAddress(file.clause, replaced->second, file.option);
    file.clause.path = file.path.string();
    if (tellsFormat(replaced->second)) file.clause.format.clear();
    file.clause.place = {};
    return file;
}

// The caller's samples in place of the file. The path names the channel in messages.
std::optional<ChannelFile> samplesFor(const BindOptions& options, const std::string& name,
                                      const std::optional<FileClause>& declared) {
    const auto given = options.samples.find(name);
    if (given == options.samples.end()) return std::nullopt;
    ChannelFile file{declared.value_or(FileClause{}), libzepl::quoted(name), {}, &given->second};
    file.clause.place = {};
    // A CSV's columns are an array's channels.
    if (const auto* column = file.clause.column ? std::get_if<std::int64_t>(&*file.clause.column) : nullptr) {
        file.clause.channel = *column;
        file.clause.column.reset();
    }
    if (given->second.channels != 1 || file.clause.elements != 0) return file;
    file.clause.channel.reset();
    file.clause.column.reset();
    return file;
}

std::string identityOf(const struct stat& status) {
    if (!S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode) && !S_ISDIR(status.st_mode)) return {};
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

}  // namespace

std::filesystem::path pathBeside(const Procedure& procedure, const std::string& name) {
    if (isStandardStream(name) || isAddress(name) || std::filesystem::path(name).is_absolute()) return name;
    return std::filesystem::path(procedure.source.name).parent_path() / name;
}

std::optional<ChannelFile> inputFile(const Procedure& procedure, const BindOptions& options,
                                     const PipeDeclaration& pipe) {
    const ArrayPlace& array = pipe.array;
    if (options.fed.contains(pipe.name)) return std::nullopt;
    std::optional<FileClause> declared = pipe.from;
    const bool hasOwn = options.inputs.contains(pipe.name) || options.samples.contains(pipe.name);
    if (array.isElement() && hasOwn) {
        if (declared) {
            declared->column.reset();
            declared->channel.reset();
            declared->elements = 0;
        }
    } else if (array.isElement() && !declared &&
               (options.inputs.contains(array.name) || options.samples.contains(array.name))) {
        declared.emplace();
        declared->channel = array.index;
        declared->elements = array.count;
    }
    const std::string& name = array.isElement() && !hasOwn ? array.name : pipe.name;
    if (auto samples = samplesFor(options, name, declared)) return samples;
    return fileOf(procedure, options, "--in", name, declared);
}

std::optional<ChannelFile> inputFile(const Procedure& procedure, const BindOptions& options,
                                     const TriggerDeclaration& trigger) {
    return fileOf(procedure, options, "--in", trigger.name, trigger.from);
}

std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options,
                                      const PipeDeclaration& pipe) {
    return fileOf(procedure, options, "--out", pipe.name, pipe.to);
}

std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options,
                                      const TriggerDeclaration& trigger) {
    return fileOf(procedure, options, "--out", trigger.name, trigger.to);
}

// A table has no name but its file's, as it is written.
std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options,
                                      const TableDeclaration& table) {
    return fileOf(procedure, options, "--out", table.to.path, table.to);
}

std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options,
                                      const JointOutput& joint) {
    return fileOf(procedure, options, "--out", joint.name, joint.to);
}

std::string identityOf(const std::filesystem::path& path) {
    if (isStandardStream(path)) return "-";
    if (isAddress(path)) return {};
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) return identityOf(status);
    std::error_code error;
    // The canonical form of a relative path that is not there stays relative.
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(std::filesystem::absolute(path), error);
    return error ? path.string() : canonical.string();
}

std::uint64_t framesOf(const Procedure& procedure, const BindOptions& options, const PipeDeclaration& declared) {
    const std::string which = "the length of " + libzepl::quoted(declared.name) + " is not known: ";
    if (declared.array.isWhole())
        for (std::int64_t index = 1; index <= declared.array.count; ++index)
            if (const std::string name = elementName(declared.name, index);
                options.inputs.contains(name) || options.samples.contains(name))
                throw Problem(
                    which + (options.inputs.contains(name) ? "--in " + name + " gives an element a file of its own"
                                                           : libzepl::quoted(name) + " has samples of its own"),
                    "write the length of one element, length(" + elementName(declared.name, 1) + ")");
    // All channels of a file are of one length.
    const PipeDeclaration pipe = declared.array.isWhole() ? elementOf(declared, 1) : declared;
    const std::optional<ChannelFile> file = inputFile(procedure, options, pipe);
    if (!file) throw Problem(which + "no file gives its samples", "give it a `from` file, or the number itself");
    for (const Formula& formula : procedure.formulas)
        if (formula.goes == Formula::Goes::interleaved && procedure.pipes[formula.declaration].name == declared.name)
            throw Problem(which + "an expression gives its channels", "write `interleaved` with a number");
    if (file->samples != nullptr) return file->samples->frames;
    std::error_code error;
    if (isStandardStream(file->path) || isAddress(file->path) || std::filesystem::is_fifo(file->path, error))
        throw Problem(which + "it is read from a stream", "give the number itself: constant NAME = NUMBER");
    const std::unique_ptr<Source> source = openSource(readRequest(*file, pipe.type, pipe.interleaved));
    std::uint64_t elements = source->length().value_or(0);
    if (!source->length()) {
        std::vector<std::byte> block(4096 * widthOf(pipe.type));
        while (const std::size_t n = source->read(block.data(), 4096)) elements += n;
    }
    return elements / static_cast<std::uint64_t>(source->channels());
}

ReadRequest readRequest(const ChannelFile& file, ElementType type, std::optional<std::int64_t> interleaved) {
    const FileClause& clause = file.clause;
    ReadRequest request{.path = file.path, .type = type};
    request.channel = clause.channel;
    request.column = clause.column;
    request.conversion = clause.conversion;
    request.interleaved = interleaved;
    request.partial = clause.partial;
    request.format = clause.format;
    request.elements = clause.elements;
    return request;
}

WriteRequest writeRequest(const ChannelFile& file, const PipeDeclaration& pipe, double rate) {
    WriteRequest request{.path = file.path, .type = pipe.type, .rate = file.clause.rate.value_or(rate)};
    request.name = pipe.name;
    request.limit = file.clause.limit;
    request.channels = static_cast<int>(pipe.interleaved.value_or(1));
    request.format = file.clause.format;
    return request;
}

LiveSettings liveSettings(const ChannelFile& file, const BindOptions& options, std::optional<double> rate) {
    const bool isSoundCard = file.path.native().starts_with("alsa:");
    return {.timeout = file.clause.timeout,
            .rate = file.clause.rate || !isSoundCard ? file.clause.rate : rate,
            .fill = file.clause.fill,
            .checkOnly = options.session.setUpOnly,
            .listening = options.listening};
}

std::string rateText(double rate) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), rate).ptr};
}

std::optional<Diagnostic> InputRates::add(const ChannelFile& file, std::optional<double> rate) {
    if (!rate) return std::nullopt;
    const std::string name = isAddress(file.path) ? file.path.string() : file.path.filename().string();
    const std::string states = (file.option.empty() ? "" : file.option + ": ") + name + " states " + rateText(*rate) +
                               " frames a second, and ";
    Diagnostic warning{Severity::warning, file.clause.place, "", ""};
    if (stated_ && *rate != *stated_) {
        warning.message = states + "the procedure's `rate` is " + rateText(*stated_);
        warning.remedy = "the run goes by `rate " + rateText(*stated_) + "`; correct it, or leave it out";
    } else if (!stated_ && first_ && *rate != *first_) {
        warning.message = states + firstName_ + " " + rateText(*first_);
        warning.remedy = "the run goes by the first, " + rateText(*first_) + "; state another one with `rate`";
    }
    if (!first_) {
        first_ = rate;
        firstName_ = name;
    }
    if (warning.message.empty()) return std::nullopt;
    return warning;
}

std::string identityOf(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 ? identityOf(status) : std::string();
}

std::string useOfFile(const Procedure& procedure, const CommandLibrary& library, const BindOptions& options,
                      const std::filesystem::path& path) {
    std::map<std::string, std::string> uses;
    const auto add = [&](const std::filesystem::path& used, int standard, const std::string& use) {
        uses.emplace(isStandardStream(used) ? identityOf(standard) : identityOf(used), use);
        if (isStandardStream(used) && standard == STDOUT_FILENO) uses.emplace("-", use);
    };
    const auto addChannel = [&](const auto& channel) {
        const std::string name = libzepl::quoted(channel.name);
        if (const auto from = inputFile(procedure, options, channel); from && from->samples == nullptr)
            add(from->path, STDIN_FILENO, "is read by " + name);
        if (const auto to = outputFile(procedure, options, channel))
            add(to->path, STDOUT_FILENO, "is written by " + name);
    };
    add(procedure.source.name, -1, "is the procedure");
    for (const LoadedModule& module : library.modules()) add(module.path, -1, "is a module");
    for (const PipeDeclaration& pipe : procedure.pipes) addChannel(pipe);
    for (const TriggerDeclaration& trigger : procedure.triggers) addChannel(trigger);
    for (const TableDeclaration& table : procedure.tables)
        if (const auto to = outputFile(procedure, options, table))
            add(to->path, STDOUT_FILENO, "is written as a table");
    // What the caller names for elements of arrays.
    for (const auto& [name, file] : options.inputs) add(file, STDIN_FILENO, "is read by " + libzepl::quoted(name));
    for (const auto& [name, file] : options.outputs) add(file, STDOUT_FILENO, "is written by " + libzepl::quoted(name));
    for (const VectorDeclaration& vector : procedure.vectors)
        if (vector.from)
            add(pathBeside(procedure, vector.from->path), STDIN_FILENO, "is read by " + libzepl::quoted(vector.name));
    uses.erase("");
    const auto found = uses.find(identityOf(path));
    return found == uses.end() ? std::string() : found->second;
}

}  // namespace libzepl
