// zepl: runs procedures on recordings and streams.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <new>
#include <sstream>

#include "cli/batch.h"
#include "cli/catalogue.h"
#include "cli/complete.h"
#include "cli/lsp/lsp.h"
#include "cli/new_module.h"
#include "cli/plot.h"
#include "cli/replay.h"
#include "cli/run.h"
#include "cli/serve/serve.h"
#include "cli/signals.h"
#include "cli/standard_streams.h"
#include "runtime/diagnostics.h"
#include "runtime/output_files.h"
#include "runtime/session.h"
#include "runtime/stop_request.h"

namespace {

constexpr const char* overview =
    "Runs processing procedures on recordings and streams.\n\n"
    "A first procedure, rectify.zp:\n"
    "    pipe ecg       : int16 from \"ecg.wav\"\n"
    "    pipe rectified : int16 to \"rectified.wav\"\n"
    "    ABS (ecg, rectified)\n"
    "and its run:\n"
    "    zepl run rectify.zp";

constexpr const char* exitStatuses =
    "Exit status: 0 when all went well, 1 when a task or the run failed, 2 when the call or the procedure was wrong, "
    "130, 143 "
    "or 129 when SIGINT, SIGTERM or SIGHUP ended it.";

// A bound whose numbers the option's description leaves out.
template <class Number>
CLI::Validator within(Number min, Number max) {
    return CLI::Range(min, max).description("");
}

void addModuleOptions(CLI::App& command, cli::ModuleArguments& modules) {
    command.add_option("--module", modules.files, "Load this module (.zlm), too; can be repeated")
        ->type_name("FILE")
        ->take_all()
        ->allow_extra_args(false);
    command.add_flag_callback(
        "--no-default-modules", [&] { modules.defaults = false; },
        "Load neither the tool's own modules nor those in the folders of $ZEPL_MODULE_PATH");
}

class Options {
 public:
    explicit Options(CLI::App& command) : command_(command) {}

    void repeated(const char* name, std::vector<std::string>& values, const char* type, const char* what) {
        command_.add_option(name, values, what)->type_name(type)->take_all()->allow_extra_args(false);
    }

    // What the options of a session are.
    void addSession(cli::RunArguments& arguments) {
        command_
            .add_option("--feed", arguments.feed,
                        "Give the input in pieces of N samples, all at once, a frame at a time, or in random pieces")
            ->type_name("N|whole|lockstep|random:SEED");
        command_.add_option("--block", arguments.block, "The default block size in samples, 1024 unless given")
            ->type_name("N")
            ->check(within(std::uint32_t{1}, libzepl::maxBlock));
        command_.add_option("--memory", arguments.memory, "The most memory that a session may use, 4G unless given")
            ->type_name("SIZE");
        command_
            .add_option("--patience", arguments.patience,
                        "How many samples a command may write without taking any when the inputs have ended")
            ->type_name("N")
            ->check(within(std::uint64_t{1}, std::uint64_t{1} << 62));
        repeated("--info", arguments.info, "SELECTOR=VALUE",
                 "Set the system information of this selector, which commands can ask for");
        command_.add_option("--start-time", arguments.startTime, "Where the session's clock starts")
            ->type_name("UNITS")
            ->check(within(std::uint32_t{0}, std::numeric_limits<std::uint32_t>::max()));
        command_.add_flag("--quiet", arguments.quiet, "Say nothing but errors");
        command_.add_flag_callback(
            "--no-sync", [&] { arguments.sync = false; }, "Do not wait until the disk has what was written");
        addModuleOptions(command_, arguments.modules);
        command_.footer(exitStatuses);
    }

    void addProcedure(cli::RunArguments& arguments) {
        command_.add_option("procedure", arguments.procedure, "The procedure's file (.zp)")
            ->required()
            ->type_name("PROCEDURE");
    }

 private:
    CLI::App& command_;
};

constexpr const char* setText = "Start this variable, or replace this constant, by VALUE";

void addRunOptions(CLI::App& command, cli::RunArguments& arguments) {
    Options options(command);
    options.addProcedure(arguments);
    options.repeated("--in", arguments.in, "NAME=FILE", "Read this pipe or trigger from FILE; - is standard input");
    options.repeated("--out", arguments.out, "NAME=FILE", "Write this pipe or trigger to FILE; - is standard output");
    options.repeated("--set", arguments.set, "VARIABLE=VALUE", setText);
    command.add_option("--report", arguments.report, "Write the result of the run as JSON; - is standard output")
        ->type_name("FILE.json");
    command
        .add_option("--pace", arguments.pace,
                    "Hold the run to the wall clock: 1 is the procedure's rate, 10 ten times as fast")
        ->type_name("FACTOR");
    command.add_flag("--allow-loss", arguments.allowLoss, "Take a run as done well although a live input lost samples");
    command.add_flag("--plot", arguments.plot, "Draw each file that was written in the terminal");
    command
        .add_option("--jobs", arguments.jobs,
                    "How many processors run groups of tasks that share nothing, all of them unless given")
        ->type_name("N")
        ->check(within(1U, 4096U));
    options.addSession(arguments);
}

void addBatchOptions(CLI::App& command, cli::BatchArguments& arguments) {
    Options options(command);
    options.addProcedure(arguments.run);
    command
        .add_option("--each", arguments.each,
                    "Run once for each of these recordings, read by this pipe or trigger: files, folders and patterns; "
                    "of several names the files go together one by one")
        ->type_name("NAME=FILES")
        ->required()
        ->take_all()
        ->expected(1, std::numeric_limits<int>::max());
    options.repeated("--out", arguments.run.out, "NAME=PATTERN",
                     "Write this output of each recording to its own file, such as out/{stem}.wav; there are {stem}, "
                     "{name}, {ending}, {parent}, {folder} and {index}");
    options.repeated("--discard", arguments.discard, "NAME",
                     "Write no file of this output: its count and its last sample are in the table");
    command.add_option("--table", arguments.table, "Write a row for each recording")->type_name("FILE.csv")->required();
    command
        .add_option("--jobs", arguments.jobs, "How many processes run recordings, one on each processor unless given")
        ->type_name("N")
        ->check(within(1U, 4096U));
    command.add_flag("--resume", arguments.resume,
                     "Keep the rows of recordings that went well before and have not changed since");
    command.add_flag_callback(
        "--no-check", [&] { arguments.check = false; },
        "Run without a look at the first recordings, by which a mistake of the procedure is found");
    command.add_flag("--list", arguments.list, "List the recordings and their files as JSON, and run nothing");
    options.repeated("--in", arguments.run.in, "NAME=FILE", "Read this pipe or trigger from FILE, for every recording");
    options.repeated("--set", arguments.run.set, "VARIABLE=VALUE", setText);
    options.addSession(arguments.run);
}

void addServeOptions(CLI::App& command, cli::ServeArguments& arguments) {
    addRunOptions(command, arguments.run);
    command.remove_option(command.get_option("--plot"));
    command.remove_option(command.get_option("--jobs"));
    command
        .add_option("--listen", arguments.listen,
                    "Serve the page at this address, 127.0.0.1:8080 unless given; port 0 takes a free one")
        ->type_name("ADDRESS:PORT");
}

void addPlotOptions(CLI::App& command, cli::PlotArguments& arguments) {
    const auto text = [&](const char* name, std::string& value, const char* type, const char* what) {
        command.add_option(name, value, what)->type_name(type);
    };
    command
        .add_option("files", arguments.files,
                    "Recordings, tables and events; a column seconds, hertz or index of a table is the x axis")
        ->required()
        ->type_name("FILE");
    text("--to", arguments.to, "FILE.svg|FILE.png", "Draw to this file, by gnuplot; without it in the terminal");
    command.add_flag(
        "--spectrum", arguments.spectrum,
        "Draw spectra: the mean power of blocks under von Hann's window, as the amplitude of a sine in dB");
    command.add_flag("--spectrogram", arguments.spectrogram, "Draw such spectra over the time");
    command.add_flag("--xy", arguments.xy, "Draw the other channels, or the second file, over the first");
    text("--events", arguments.events, "FILE.csv", "Mark the events of this trigger's file");
    command.add_option("--rate", arguments.rate, "Frames a second of files that state none")->type_name("R");
    command.add_option("--channel", arguments.channels, "Draw this channel or column alone; can be repeated")
        ->type_name("NUMBER|HEADING")
        ->take_all()
        ->allow_extra_args(false);
    text("--range", arguments.range, "FROM..TO", "Draw this part of the x axis, in its units");
    text("--unit", arguments.unit, "UNIT", "The unit of the values, for the axis");
    text("--title", arguments.title, "TEXT", "A line above the picture");
    text("--type", arguments.type, "TYPE", "The type of raw samples: int16, int32, float or double");
    command.add_option("--block", arguments.block, "Samples to a spectrum, a power of two from 16 to 16384")
        ->type_name("N");
}

void addReplayOptions(CLI::App& command, cli::ReplayArguments& arguments) {
    const auto repeated = [&](const char* name, std::vector<std::string>& values, const char* type, const char* what) {
        command.add_option(name, values, what)->type_name(type)->take_all()->allow_extra_args(false);
    };
    command.add_option("folder", arguments.folder, "The folder of a run that --capture kept")
        ->required()
        ->type_name("FOLDER");
    command.add_option("--until", arguments.until, "Stop at the end of this round")
        ->type_name("ROUND")
        ->check(within(std::uint64_t{1}, std::uint64_t{1} << 62));
    repeated("--set", arguments.set, "VARIABLE=VALUE",
             "Give this variable or constant VALUE in place of what the run had");
    repeated("--out", arguments.out, "NAME=FILE", "Write this output or pipe to FILE; without it nothing is written");
    command.add_option("--report", arguments.report, "Write the result of the replay as JSON; - is standard output")
        ->type_name("FILE.json");
    command.add_flag("--quiet", arguments.quiet, "Say nothing but errors");
    command.add_flag_callback(
        "--no-sync", [&] { arguments.sync = false; }, "Do not wait until the disk has what was written");
    addModuleOptions(command, arguments.modules);
    command.footer(
        "Exit status: 0 when every output has the same bytes as in the run, or --set makes another run of it; 1 when one "
        "differs, the replay fails or nothing could be compared; 2 when the call or the folder is wrong.");
}

void addCommandsOptions(CLI::App& command, cli::CatalogueArguments& arguments) {
    command
        .add_option("word", arguments.word,
                    "Only those with WORD in their name, summary, tasks, signature or page, the nearest first")
        ->type_name("WORD");
    command.add_flag("--json", arguments.json, "List them as JSON");
    command.add_flag("--signatures", arguments.signatures, "With stack space and signature");
    addModuleOptions(command, arguments.modules);
}

void addHelpOptions(CLI::App& command, cli::CatalogueArguments& arguments) {
    command
        .add_option("topic", arguments.word,
                    "A command, or language, files, batch, feeding, live, errors, report, plots or editors")
        ->type_name("TOPIC");
    addModuleOptions(command, arguments.modules);
}

void addLspOptions(CLI::App& command, cli::LspArguments& arguments) {
    command.add_flag("--words", arguments.words,
                     "Print the words of procedures as JSON instead, for an editor's colours");
    command.add_flag("--stdio", arguments.stdio,
                     "Standard input and output, which are used anyway; some editors say so");
    addModuleOptions(command, arguments.modules);
    command.footer("Exit status: 0 when the editor ended the session in order, else 1; 2 when the call was wrong.");
}

// A first word that the tool does not know gets a message of its own.
void refuseUnknownAction(const CLI::App& app, int count, char** words) {
    if (count < 2 || *words[1] == '-') return;
    std::vector<std::string> known;
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; }))
        known.push_back(each->get_name());
    if (std::find(known.begin(), known.end(), words[1]) != known.end()) return;
    const std::string remedy = libzepl::suggestion(words[1], known);
    throw libzepl::Problem("zepl has no " + libzepl::quoted(words[1]),
                           remedy.empty() ? "zepl --help lists what it has" : remedy);
}

// So does an option, or a further word, that the command does not take.
void refuseUnknownOption(const CLI::App& app) {
    for (const CLI::App* command : app.get_subcommands()) {
        const std::vector<std::string> left = command->remaining();
        const auto isOption = [](const std::string& word) { return word.starts_with("-"); };
        const auto option = std::find_if(left.begin(), left.end(), isOption);
        if (left.empty()) continue;
        const std::string name = "zepl " + command->get_name(), help = name + " --help lists what it takes";
        if (option == left.end()) throw libzepl::Problem(name + " does not take " + libzepl::quoted(left.back()), help);
        std::vector<std::string> known;
        for (const CLI::Option* each : command->get_options())
            for (const std::string& word : each->get_lnames()) known.push_back("--" + word);
        const std::string given = option->substr(0, option->find('=')), near = libzepl::suggestion(given, known);
        throw libzepl::Problem(name + " has no option " + libzepl::quoted(given), near.empty() ? help : near);
    }
}

constexpr const char* noMemory =
    "zepl: error: the system has no more memory\n  close other programs, or raise what a process may take (ulimit "
    "-v)\n";

std::atomic<bool> memoryRanOut{false};

[[noreturn]] void onMemoryRanOut() {
    memoryRanOut = true;
    throw std::bad_alloc();
}

// Whether the program is terminated for want of memory: an exception that says so came to a function that lets none out, or
// could not even be made.
bool lacksMemory() {
    const std::exception_ptr thrown = std::current_exception();
    try {
        if (thrown != nullptr) std::rethrow_exception(thrown);
    } catch (const std::bad_alloc&) {
        return true;
    } catch (...) {
        return false;
    }
    return memoryRanOut || std::malloc(1) == nullptr;
}

// All else that terminates the program is a fault.
[[noreturn]] void onTerminate() {
    if (!lacksMemory()) std::abort();
    std::fputs(noMemory, stderr);
    libzepl::removeTemporaryFiles();
    ::_exit(cli::runFailed);
}

// Before anything else: libraries allocate what they keep for the whole program.
[[gnu::constructor(101)]] void setHandlers() {
    std::set_new_handler(onMemoryRanOut);
    std::set_terminate(onTerminate);
}

// Of the files that zepl plot draws, "-.csv" and the like would be read as options: they go to the end, after "--".
void putStreamsLast(std::vector<char*>& words) {
    static char end[] = "--";
    std::vector<char*> streams, others;
    std::string_view before;
    for (char* word : words) {
        const bool isValue = before == "--to" || before == "--events";
        before = word;
        (before.starts_with("-.") && !isValue ? streams : others).push_back(word);
    }
    if (streams.empty()) return;
    if (std::none_of(others.begin(), others.end(), [](char* word) { return std::string_view(word) == end; }))
        others.push_back(end);
    others.insert(others.end(), streams.begin(), streams.end());
    words = others;
}

// `zepl x.zp` is `zepl run x.zp`, and `zepl --version` is `zepl version`.
std::vector<char*> spelledOut(int count, char** words) {
    static char run[] = "run", version[] = "version";
    std::vector<char*> spelled(words, words + count);
    if (count > 1 && std::string_view(words[1]).ends_with(".zp")) spelled.insert(spelled.begin() + 1, run);
    if (count > 1 && std::string_view(words[1]) == "--version") spelled[1] = version;
    if (count > 1 && std::string_view(words[1]) == "plot") putStreamsLast(spelled);
    return spelled;
}

// The library writes help into streams of its own, which leave out in silence what no memory is left for.
void requireComplete(const std::string& help, const CLI::App& app) {
    const auto require = [&](const std::string& part) {
        if (help.find(part) == std::string::npos) throw std::bad_alloc();
    };
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        require(each->get_name());
        require(each->get_description());
    }
    for (const CLI::Option* each : app.get_options()) require(each->get_description());
    require(app.get_footer());
}

int dispatch(int count, char** words) {
    CLI::App app(overview, "zepl");
    app.require_subcommand(1);
    app.footer(exitStatuses);
    cli::RunArguments runArguments;
    cli::CatalogueArguments catalogue;

    cli::ReplayArguments replayArguments;
    cli::ServeArguments serveArguments;
    cli::BatchArguments batchArguments;
    cli::PlotArguments plotArguments;
    cli::LspArguments lspArguments;
    std::string moduleName;
    CLI::App* run = app.add_subcommand("run", "Run a procedure");
    CLI::App* replay = app.add_subcommand("replay", "Run again what a run with --capture had, and compare");
    CLI::App* serve = app.add_subcommand("serve", "Run a procedure, and serve a page to look at it in a browser");
    CLI::App* check =
        app.add_subcommand("check", "Do everything up to the first sample: parse, bind, and set up each task");
    CLI::App* batch = app.add_subcommand("batch", "Run a procedure on many recordings, on all processors");
    CLI::App* commands = app.add_subcommand("commands", "List the installed commands");
    CLI::App* help = app.add_subcommand("help", "Explain a command, a topic, or this tool");
    CLI::App* plot = app.add_subcommand("plot", "Draw recordings, tables and events");
    CLI::App* lsp = app.add_subcommand("lsp", "Serve an editor, by the Language Server Protocol");
    CLI::App* create = app.add_subcommand("new-module", "Make a folder with a module of your own to begin with");
    CLI::App* version =
        app.add_subcommand("version", "Print the versions, and whether module and runtime fit together");

    // The options of an action that is not named here take time to make and have no use.
    const std::string named = count > 1 ? words[1] : "";
    const bool isNamed = !app.get_subcommands([&](const CLI::App* each) { return each->get_name() == named; }).empty();
    const auto isAsked = [&](const CLI::App* action) { return !isNamed || action->get_name() == named; };
    if (isAsked(run)) {
        addRunOptions(*run, runArguments);
        run->add_option("--capture", runArguments.capture, "Keep in this new folder what zepl replay runs again")
            ->type_name("FOLDER");
    }
    if (isAsked(replay)) addReplayOptions(*replay, replayArguments);
    if (isAsked(serve)) addServeOptions(*serve, serveArguments);
    if (isAsked(check)) addRunOptions(*check, runArguments);
    if (isAsked(batch)) addBatchOptions(*batch, batchArguments);
    if (isAsked(commands)) addCommandsOptions(*commands, catalogue);
    if (isAsked(help)) addHelpOptions(*help, catalogue);
    if (isAsked(plot)) addPlotOptions(*plot, plotArguments);
    if (isAsked(lsp)) addLspOptions(*lsp, lspArguments);
    if (isAsked(create)) create->add_option("name", moduleName, "The module's name")->required()->type_name("NAME");
    if (isAsked(version)) addModuleOptions(*version, catalogue.modules);

    if (count > 2 && std::string_view(words[1]) == "complete" && std::string_view(words[2]) == "--")
        return cli::complete(app, {words + 3, words + count});
    try {
        app.parse(count, words);
    } catch (const CLI::ParseError& error) {
        refuseUnknownAction(app, count, words);
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError)) refuseUnknownOption(app);
        std::ostringstream text, said;
        for (std::ios* stream : {&text, &said}) stream->exceptions(std::ios::badbit);  // nothing is left out in silence
        const int status = app.exit(error, text, said);
        const std::vector<CLI::App*> parsed = app.get_subcommands();
        if (status == 0) requireComplete(text.str(), parsed.empty() ? app : *parsed.front());
        cli::print(text.str());
        std::fputs(said.str().c_str(), stderr);
        return status == 0 ? cli::allWell : cli::wrongCall;
    }
    if (run->parsed()) return cli::run(runArguments);
    if (replay->parsed()) return cli::replay(replayArguments);
    if (serve->parsed()) return cli::serve(serveArguments);
    if (check->parsed()) return cli::check(runArguments);
    if (batch->parsed()) return cli::batch(batchArguments);
    if (commands->parsed()) return cli::listCommands(catalogue);
    if (plot->parsed()) return cli::plot(plotArguments);
    if (lsp->parsed()) return cli::serveEditor(lspArguments);
    if (create->parsed()) return cli::newModule(moduleName);
    if (version->parsed()) return cli::printVersions(catalogue);
    if (!catalogue.word.empty()) return cli::explain(catalogue);
    app.clear();  // else it would be the help of `help`
    const std::string text = app.help();
    requireComplete(text, app);
    cli::print(text + "\n" + cli::topicList());
    return cli::allWell;
}

// The exit status of the call, when all its output has gone out.
int statusOfCall(int count, char** words) {
    try {
        std::vector<char*> spelled = spelledOut(count, words);
        const int status = dispatch(static_cast<int>(spelled.size()), spelled.data());
        cli::flush();
        return status;
    } catch (const libzepl::Interrupted&) {
        return cli::statusOfSignal();
    } catch (const cli::LostOutput& problem) {
        cli::printProblem(problem);
        return cli::runFailed;
    } catch (const libzepl::Problem& problem) {
        cli::printProblem(problem);
    } catch (const std::bad_alloc&) {
        std::fputs(noMemory, stderr);
        return cli::runFailed;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zepl: error: %s\n", error.what());
    }
    return cli::wrongCall;
}

}  // namespace

int main(int count, char** words) {
    cli::openClosedStreams();
    // A closed output and a file that grows too large are reported as errors, and do not end the program silently.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const int status = statusOfCall(count, words);
    return status == cli::allWell && cli::messagesLost() ? cli::runFailed : status;
}
