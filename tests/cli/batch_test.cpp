// A procedure on many recordings: which are run, what the table has, and what is left of a batch that is ended.

#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "tool_support.h"

namespace libzepl {
namespace {

namespace fs = std::filesystem;

const std::string probe = " --module '" TEST_PROBE_FILE "' --module '" TEST_MODULE_FILE "'";

class Batch : public ToolTest {
 protected:
    Batch() {
        fs::create_directory(at("rec"));
        put("p.zp",
            "pipe ecg : int16 from \"-\"\npipe lo : int16 to \"lo.csv\"\nvariable gain : float = 0.1\nABS (ecg, lo)\n");
    }

    void record(const std::string& name, const std::vector<std::int16_t>& samples) const {
        save("rec/" + name, samples);
    }
    void record(const std::vector<std::string>& names) const {
        for (const std::string& name : names) record(name, std::vector<std::int16_t>{-1, 2, -3});
    }

    // The table's lines, without what each took.
    std::vector<std::string> table(const std::string& name = "t.csv") const {
        std::vector<std::string> lines;
        std::istringstream text(bytesOf(name));
        for (std::string line; std::getline(text, line);) lines.push_back(line.substr(0, line.rfind(',')));
        return lines;
    }
    // The first cells of the table's rows.
    std::vector<std::string> rows() const {
        std::vector<std::string> cells = table();
        cells.erase(cells.begin());
        for (std::string& cell : cells) cell = cell.substr(0, cell.find(','));
        return cells;
    }
    Called batch(const std::string& more, const std::string& procedure = "p.zp") const {
        return call("batch " + procedure + " --table t.csv --no-sync " + more);
    }
    // Exactly these stand in the folder `out`.
    std::set<std::string> outputs() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(at("out"))) names.insert(entry.path().filename());
        return names;
    }
};

TEST_F(Batch, WritesARowForEachRecordingInNaturalOrder) {
    record({"r10.wav", "r2.wav", "a \"b\", c\n.wav"});
    record("r1.wav", {});
    const Called called = batch("--each ecg='rec/*.wav' --out lo=out/{stem}-lo.csv");
    EXPECT_EQ(called.status, 0);
    EXPECT_EQ(called.err, "wrote t.csv: 4 rows\n");
    const std::string text = bytesOf("t.csv");
    EXPECT_EQ(text.find("file,status,gain,lo.count,lo.last,notes,seconds\n\"rec/a \"\"b\"\", c\n.wav\",ok,0.1,3,3,,"),
              0U)
        << text;
    EXPECT_EQ(text.substr(text.find("rec/r1"), 26), "rec/r1.wav,ok,0.1,0,,,0.00");
    EXPECT_LT(text.find("rec/r2.wav,ok,0.1,3,3,,"), text.find("rec/r10.wav,ok,0.1,3,3,,"));
    EXPECT_EQ(outputs(), (std::set<std::string>{"a \"b\", c\n-lo.csv", "r1-lo.csv", "r2-lo.csv", "r10-lo.csv"}));
    EXPECT_EQ(bytesOf("out/r2-lo.csv"), "lo\n1\n2\n3\n");
}

TEST_F(Batch, TakesFilesFoldersAndPatternsInAnyForm) {
    record({"r10.wav", "r2.wav", "r1.wav"});
    fs::create_directories(at("rec/deep/er"));
    fs::copy_file(at("rec/r1.wav"), at("rec/deep/er/r1.wav"));
    put("rec/notes.txt", "not one of them");
    put("rec/.hidden.wav", "nor this");
    const std::vector<std::string> all{"rec/r1.wav", "rec/r2.wav", "rec/r10.wav"};
    for (const std::string each :
         {"--each ecg='rec/*.wav'", "--each ecg='rec/r?*.wav'", "--each ecg=rec", "--each ecg=rec/",
          "--each ecg=rec/r10.wav --each ecg=rec/r1.wav --each ecg=rec/r2.wav", "--each ecg= rec/*.wav",
          "--each ecg=rec/r1.wav rec/r2.wav rec/r10.wav", "--each ecg=rec/r1.wav 'rec/r[21]*.wav' rec/r2.wav"}) {
        EXPECT_EQ(batch(each + " --discard lo").status, 0) << each;
        std::vector<std::string> found = rows();
        for (std::string& row : found) row = fs::path(row).lexically_normal();
        EXPECT_EQ(found, all) << each;
    }
    EXPECT_EQ(batch("--each ecg='**/r1*.wav' --discard lo").status, 0);
    EXPECT_EQ(rows(), (std::vector<std::string>{"rec/deep/er/r1.wav", "rec/r1.wav", "rec/r10.wav"}));
    fs::create_symlink("r1.wav", at("rec/s1.wav"));
    EXPECT_EQ(batch("--each ecg='rec/?1.wav' --each ecg=rec/../rec/r1.wav --discard lo").err,
              "note: rec/r1.wav is the same file as rec/../rec/r1.wav, and is run once\n"
              "note: rec/s1.wav is the same file as rec/../rec/r1.wav, and is run once\nwrote t.csv: 1 row\n");
}

TEST_F(Batch, NamesOutputsByThePartsOfTheRecordingsName) {
    record({"a.b.wav"});
    const std::pair<const char*, const char*> cases[] = {
        {"{stem}.csv", "a.b.csv"}, {"{name}.csv", "a.b.wav.csv"},
        {"x{ending}", "x.wav"},    {"{parent}-{stem}.npy", "rec-a.b.npy"},
        {"{index}.wav", "1.wav"},  {"{{{ecg.stem}}}.csv", "{a.b}.csv"},
    };
    for (const auto& [pattern, expected] : cases) {
        EXPECT_EQ(batch("--each ecg=rec/a.b.wav --out lo='{folder}/../out/" + std::string(pattern) + "'").status, 0)
            << pattern;
        EXPECT_EQ(outputs(), std::set<std::string>{expected}) << pattern;
        fs::remove_all(at("out"));
    }
}

TEST_F(Batch, RefusesWhatWouldBeWrittenOver) {
    record({"r1.wav", "r2.wav"});
    fs::create_directory(at("other"));
    fs::create_directory(at("none"));
    fs::copy_file(at("rec/r1.wav"), at("other/r1.wav"));
    fs::create_directory_symlink("rec", at("link"));
    fs::create_directory(at("out"));
    fs::create_symlink("r2.csv", at("out/r1.csv"));
    const std::string both = "--each ecg='rec/*.wav' ";
    const std::pair<std::string, const char*> cases[] = {
        {both, "p.zp:2:20: error: each recording would write `lo.csv` again"},
        {both + "--out lo=out/x.csv", "rec/r1.wav and rec/r2.wav would both write `out/x.csv`"},
        {both + "--out lo=out/{stem}.csv", "rec/r1.wav and rec/r2.wav would both write `out/r2.csv`"},
        {"--each ecg='[or]*/r1.wav' --out lo=new/{stem}.csv",
         "other/r1.wav and rec/r1.wav would both write `new/r1.csv`"},
        {both + "--out lo=link/{stem}.wav", "`link/r1.wav` is a recording"},
        {both + "--out lo=link/../rec/{name}", "`link/../rec/r1.wav` is a recording"},
        {both + "--out lo=new/../rec/{stem}-lo.wav",
         "the next batch would take `new/../rec/r1-lo.wav` for a recording, by `rec/*.wav`"},
        {"--each ecg=rec --out lo=link/{stem}.npy",
         "the next batch would take `link/r1.npy` for a recording, by `rec`"},
        {"--each ecg=rec/r1.wav --out lo=./t.csv", "`./t.csv` is the table"},
        {"--each ecg=rec/r1.wav --out lo=p.zp", "`p.zp` is the procedure"},
        {both + "--out lo=-", "`-` is a stream"},
        {both + "--out lo=out/{step}.csv", "there is no placeholder {step}\n  did you mean `stem`?"},
        {both + "--out lo=out/{stem.csv", "a brace stands alone"},
        {both + "--out low=out/{stem}.csv --discard lo", "the procedure declares no pipe or trigger `low`"},
        {both + "--discard lo --discard gain", "the procedure declares no pipe or trigger `gain`"},
        {"--each ecg='rec/*.flac' --discard lo", "no file fits the pattern"},
        {"--each ecg=none --discard lo", "no recording is in that folder"},
        {"--each rec --discard lo", "--each rec is not NAME=FILES"},
        {"--each ecg=rec --each lo=rec/r1.wav --discard lo", "--each ecg names 2 files, and --each lo 1"},
        {"--each lo=rec --discard lo", "each recording would read the stream `-`"},
    };
    for (const auto& [words, expected] : cases) {
        const Called called = batch(words);
        EXPECT_EQ(called.status, 2) << words;
        EXPECT_NE(called.err.find(expected), std::string::npos) << words << "\n" << called.err;
        EXPECT_FALSE(fs::exists(at("t.csv"))) << words;
    }
    EXPECT_NE(call("batch p.zp --each ecg=rec --discard lo --table rec/t.csv")
                  .err.find("the next batch would take `rec/t.csv`"),
              std::string::npos);
}

TEST_F(Batch, AMistakeOfTheProcedureIsSaidOnceAndNothingIsRun) {
    record({"r1.wav", "r2.wav"});
    put("p.zp", "pipe ecg : int16 from \"-\"\npipe lo : int16\nAB (ecg, lo)\n");
    const std::set<std::string> before = files();
    const Called called = batch("--each ecg=rec");
    EXPECT_EQ(called.status, 2);
    EXPECT_EQ(called.err, "p.zp:3:1: error: unknown command `AB`\n  AB (ecg, lo)\n  ^~\n  did you mean `ABS`?\n");
    EXPECT_EQ(files(), before);
    put("p.zp", "pipe ecg : int16 frm \"-\"\n");
    EXPECT_EQ(batch("--each ecg=rec").err.find("p.zp:1:18: error: "), 0U);
}

TEST_F(Batch, CountsAndLastSamplesAreThoseOfFrames) {
    put("p.zp",
        "pipe a[2] : int16 from \"-\" to \"a.wav\"\npipe both : int16 interleaved 2 to \"both.wav\"\n"
        "pipe first : float = 0.1 * a[1] to \"first.csv\" limit 2\ntable \"rows.csv\" : a, index, first\n"
        "pipe all : int16 interleaved 2 from \"-\"\nABS (all, both)\n");
    put("rec/x.csv", "1,-2\n3,-4\n5,-6\n");
    const Called called = batch(
        "--each a=rec/x.csv --each all=rec/x.csv --discard a --discard both --discard rows.csv --out first=out/{stem}.csv --block 1");
    EXPECT_EQ(called.status, 0) << called.err;
    EXPECT_EQ(
        table()[0],
        "file,all.file,status,both.count,both.last,first.count,first.last,a.count,a.last,rows.csv.count,rows.csv.last,notes");
    EXPECT_EQ(table()[1].find("rec/x.csv,rec/x.csv,ok,3,5 6,2,0.3,3,5 -6,3,5 -6 0.5,"), 0U) << table()[1];
    EXPECT_EQ(outputs(), std::set<std::string>{"x.csv"});
}

TEST_F(Batch, FilesOfSeveralInputsGoTogetherOneByOne) {
    record({"r10.wav", "r9.wav"});
    fs::create_directory(at("marks"));
    for (const std::string name : {"m9.csv", "m10.csv"})
        put("marks/" + name, "event,position\nassert," + name.substr(1, name.size() - 5) + "\n");
    put("p.zp",
        "pipe ecg : int16 from \"-\"\ntrigger mark from \"-.csv\"\ntrigger out to \"o.csv\"\npipe lo : int16\nABS (ecg, lo)\nNTH (mark, 1, out)\n");
    const Called called = batch("--each ecg=rec --each mark='marks/*' --out out=out/{ecg.stem}-{mark.stem}.csv");
    EXPECT_EQ(called.status, 0) << called.err;
    EXPECT_EQ(table()[0], "file,mark.file,status,out.count,out.last,notes");
    EXPECT_EQ(table()[1].find("rec/r9.wav,marks/m9.csv,ok,1,9,"), 0U) << table()[1];
    EXPECT_EQ(table()[2].find("rec/r10.wav,marks/m10.csv,ok,1,10,"), 0U) << table()[2];
    EXPECT_EQ(outputs(), (std::set<std::string>{"r9-m9.csv", "r10-m10.csv"}));
}

TEST_F(Batch, ResumesWhatHasChangedAlone) {
    record({"r1.wav", "r2.wav", "r3.wav"});
    put("taps.csv", "1\n");
    put("p.zp",
        "pipe ecg : int16 from \"-\"\npipe lo : int16 to \"lo.csv\"\nvector v : int16 from \"taps.csv\"\nconstant c = 1\nABS (ecg, lo)\n");
    const std::string words = "--each ecg=rec --out lo=out/{stem}.csv ";
    const auto kept = [&](const std::string& more = {}) {
        const Called called = batch(words + "--resume " + more);
        EXPECT_EQ(called.status, 0) << called.err;
        EXPECT_EQ(rows(), (std::vector<std::string>{"rec/r1.wav", "rec/r2.wav", "rec/r3.wav"}));
        return called.err.starts_with("note: ") ? called.err.substr(6, 1) : "0";
    };
    EXPECT_EQ(kept(), "0");
    EXPECT_EQ(kept("--jobs 2 --quiet"), "0");  // says nothing
    EXPECT_EQ(kept(), "3");
    record("r2.wav", {1, 2, 3, 4});
    EXPECT_EQ(kept(), "2");
    remove("out/r1.csv");
    EXPECT_EQ(kept(), "2");
    put("out/r3.csv", "other");
    EXPECT_EQ(kept(), "2");
    put("taps.csv", "1\n2\n");
    EXPECT_EQ(kept(), "0");
    EXPECT_EQ(kept("--set c=2"), "0");
    EXPECT_EQ(kept("--set c=2 --block 7"), "0");
    EXPECT_EQ(kept("--set c=2 --block 7" + probe), "0");
    put("p.zp", bytesOf("p.zp") + "# changed\n");
    EXPECT_EQ(kept(), "0");
    EXPECT_EQ(kept(), "3");
    std::ofstream(at("t.csv.batch"), std::ios::app) << "half an entry";
    EXPECT_EQ(kept(), "3");
    EXPECT_EQ(batch(words).err, "wrote t.csv: 3 rows\n") << "without --resume all are run";
}

// A thousand recordings, with 20 bad ones of all kinds.
class ManyRecordings : public Batch {
 protected:
    ManyRecordings() {
        // With 5 samples the run fails, with 7 it crashes.
        const std::string get = " pipe_get:2";
        put("p.zp", "pipe ecg : int16 from \"-\"\npipe lo : int16 to \"lo.wav\"\nABS (ecg, lo)\nSCRIPT (\"open_read:2" +
                        get + get + get + get + get + " exit:7\", ecg)\nSCRIPT (\"open_read:2" + get + get + get + get +
                        get + get + get + " null\", ecg)\n");
        std::vector<std::int16_t> samples{1, -2, 0};
        for (int i = 1; i <= count; ++i) {
            samples[2] = static_cast<std::int16_t>(-i);
            record("r" + std::to_string(i) + ".wav", samples);
        }
        const std::string whole = bytesOf("rec/r1.wav");
        for (const int i : {3, 103, 203}) put(nameOf(i), "no recording at all");
        for (const int i : {7, 107, 207}) put(nameOf(i), whole.substr(0, whole.size() - 2));
        for (const int i : {11, 111, 211}) put(nameOf(i), "");
        for (const int i : {15, 16, 116})
            fs::remove(at(nameOf(i))), fs::create_symlink("nowhere" + std::to_string(i), at(nameOf(i)));
        for (const int i : {21, 121}) {
            WriteRequest request = writing<std::int16_t>(nameOf(i));
            request.channels = 2;
            const auto sink = createSink(request);
            sink->write(samples.data(), 2);
            sink->finish();
        }
        for (const int i : {25, 125, 1000}) record("r" + std::to_string(i) + ".wav", {1, 2, 3, 4, 5});
        for (const int i : {1, 31, 131}) record("r" + std::to_string(i) + ".wav", {1, 2, 3, 4, 5, 6, 7});
    }
    static std::string nameOf(int i) { return "rec/r" + std::to_string(i) + ".wav"; }

    void resumeAfterSignals(const std::vector<std::string>& lines) const;

    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> bytes;
        for (const std::string& name : outputs()) bytes[name] = bytesOf("out/" + name);
        return bytes;
    }

    const std::string words_ = "--each ecg='rec/*.wav' --out lo=out/{stem}.wav" + probe;
    static constexpr int count = 1000, bad = 20;
};

TEST_F(ManyRecordings, EachHaveTheirRow) {
    const Called called = batch(words_ + " --jobs 3");
    EXPECT_EQ(called.status, 1);
    EXPECT_EQ(called.err.find("wrote t.csv: 1000 rows\nzepl: error: 20 of 1000 recordings failed\n"
                              "  rec/r1.wav: crashed: line 5: SCRIPT: used a null pointer\n"
                              "  rec/r3.wav: failed: --in ecg: rec/r3.wav: it cannot be read"),
              0U)
        << called.err;
    const std::vector<std::string> lines = table();
    ASSERT_EQ(lines.size(), count + 1U);
    std::map<std::string, int> states;
    for (int i = 1; i <= count; ++i) {
        const std::string& row = lines[static_cast<std::size_t>(i)];
        const std::string state = row.substr(nameOf(i).size() + 1, 2);
        ++states[state];
        EXPECT_EQ(row.find(nameOf(i) + (state == "ok" ? ",ok,3," + std::to_string(i) : "")), 0U) << row;
        if (state != "ok") continue;
        EXPECT_EQ(elementsOf<std::int16_t>("out/r" + std::to_string(i) + ".wav"),
                  (std::vector<std::int16_t>{1, 2, static_cast<std::int16_t>(i)}));
    }
    EXPECT_EQ(states, (std::map<std::string, int>{{"ok", count - bad}, {"fa", bad - 3}, {"cr", 3}}));
    EXPECT_EQ(outputs().size(), count - bad + 3U) << "with what the three failed runs wrote";
    const std::map<std::string, std::string> written = contents();
    resumeAfterSignals(lines);
    EXPECT_EQ(contents(), written);
}

// Runs all again, by one process, up to one that is held in its middle, and resumes that.
void ManyRecordings::resumeAfterSignals(const std::vector<std::string>& lines) const {
    fs::remove_all(at("out"));
    const std::string held = bytesOf(nameOf(501));
    fs::remove(at(nameOf(501)));
    ASSERT_EQ(::mkfifo(at(nameOf(501)).c_str(), 0600), 0);
    for (const int signal : {SIGKILL, SIGTERM, SIGINT}) {
        LiveTool tool(folder_, {"batch", "p.zp", "--each", "ecg=rec/*.wav", "--out", "lo=out/{stem}.wav", "--table",
                                "t.csv", "--jobs", "1", "--resume", "--no-sync", "--module", TEST_PROBE_FILE,
                                "--module", TEST_MODULE_FILE});
        const int fifo = ::open(at(nameOf(501)).c_str(), O_WRONLY | O_CLOEXEC);  // once the recording is opened
        tool.send(signal);
        EXPECT_EQ(tool.wait(), signal == SIGKILL ? -1 : 128 + signal);
        EXPECT_EQ(tool.read(1), "") << "no process of it is left";
        ::close(fifo);
        std::vector<std::string> rows = table(), done(lines.begin(), lines.begin() + 501);
        std::sort(rows.begin(), rows.end());
        std::sort(done.begin(), done.end());
        EXPECT_EQ(rows, done);
        for (const auto& [name, bytes] : contents())
            EXPECT_TRUE(name.find(".part") == std::string::npos && name != "r501.wav") << name;
    }
    fs::remove(at(nameOf(501)));
    put(nameOf(501), held);
    const std::string before = bytesOf("t.csv");
    const Called called = batch(words_ + " --resume");
    EXPECT_EQ(called.err.find("note: 481 recordings are unchanged, and not run again\n"), 0U) << called.err;
    EXPECT_EQ(table(), lines);
    const std::size_t row = before.find(nameOf(500));
    const std::string kept = before.substr(row, before.find('\n', row) - row);
    EXPECT_NE(bytesOf("t.csv").find(kept), std::string::npos) << "with the seconds that it took";
}

TEST_F(Batch, AKilledProcessCostsItsRecordingAlone) {
    record({"r1.wav", "r3.wav"});
    ASSERT_EQ(::mkfifo(at("rec/r2.wav").c_str(), 0600), 0);
    LiveTool tool(folder_,
                  {"batch", "p.zp", "--each", "ecg=rec/*.wav", "--discard", "lo", "--table", "t.csv", "--jobs", "1"});
    // Twice: the first time it could have been the recordings before it.
    for (int time = 0; time < 2; ++time) {
        const int fifo = ::open(at("rec/r2.wav").c_str(), O_WRONLY | O_CLOEXEC);
        std::ifstream children("/proc/" + std::to_string(tool.process()) + "/task/" + std::to_string(tool.process()) +
                               "/children");
        pid_t worker = 0;
        children >> worker;
        ASSERT_GT(worker, 0);
        const auto end = static_cast<int>(::syscall(SYS_pidfd_open, worker, 0));
        EXPECT_EQ(::kill(worker, SIGKILL), 0);
        pollfd ended{end, POLLIN, 0};
        EXPECT_EQ(::poll(&ended, 1, -1), 1);
        ::close(end);
        ::close(fifo);
    }
    EXPECT_EQ(tool.wait(), 1);
    EXPECT_EQ(table()[2], "rec/r2.wav,crashed,,,,its process was ended by signal 9 (Killed)");
    EXPECT_EQ(rows(), (std::vector<std::string>{"rec/r1.wav", "rec/r2.wav", "rec/r3.wav"}));
}

}  // namespace
}  // namespace libzepl
