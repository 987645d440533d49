// What the tool does when the machine has no more memory, at whichever allocation. A dozen of each call's are tried;
// with STARVED_STEP=N in the environment, every N-th is.

#include <fcntl.h>
#include <unistd.h>

#include <map>

#include "tool_support.h"

#ifdef TEST_STARVED_TOOL_FILE

namespace libzepl {
namespace {

using Words = std::vector<std::string>;

struct Scene {
    Words words;  // of the call
    int status;   // when there is memory
};

const Scene scenes[] = {
    {{"version"}, 0},
    {{"help"}, 0},
    {{"commands", "--json"}, 0},
    {{"help", "FFT"}, 0},
    {{"check", "good.zp"}, 0},
    {{"run", "good.zp", "--report", "r.json"}, 0},
    {{"run", "good.zp", "--out", "b=b.wav", "--out", "e=e.npy", "--feed", "whole", "--quiet"}, 0},
    {{"run", "refused.zp", "--report", "r.json"}, 2},
    {{"run", "fault.zp", "--report", "r.json", "--module", TEST_PROBE_FILE, "--module", TEST_MODULE_FILE}, 1},
    {{"run", "mistakes.zp", "--report", "r.json"}, 2},
    {{"run", "good.zp", "--oops"}, 2},
};

const char* const good =
    "pipe a : int16 from \"in.csv\"\npipe b : int16 to \"out.csv\"\npipe e : int16 to \"e.bin\"\n"
    "vector v : float = [0.5, 1.0]\ntrigger t to \"t.csv\"\nvariable n : int32 = 5\n"
    "ABS (a, b)\nDELTA (a, e)\nTOGGLE (b, outside, -2, 2, inside, -1, 1, t)\n";

class Starved : public ToolTest {
 protected:
    Starved() {
        put("good.zp", good);
        put("refused.zp", "pipe a : int16 from \"in.csv\"\npipe b : int32 to \"out.csv\"\nABS (a, b)\n");
        put("fault.zp",
            "pipe a : int16 from \"in.csv\"\npipe b : int16 to \"out.csv\"\nABS (a, b)\nSCRIPT (\"throw:0\")\n");
        put("mistakes.zp", "pipe a : int16 form \"in.csv\"\nABS (a, c)\nABSS (a, a)\npipe a : int\n");
        reset();
    }
    ~Starved() override { std::filesystem::remove_all(seen_); }

    // The outputs as they were before a call.
    void reset() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            if (!isGiven(entry.path().filename())) std::filesystem::remove(entry.path());
        for (const char* name : outputs) put(name, std::string("old ") + name);
    }

    Called starvedCall(const Words& words, long at, bool on) const {
        std::filesystem::create_directory(seen_);
        const ::pid_t child = ::fork();
        if (child == 0) {
            prepareChild(at, on);
            std::vector<char*> list{const_cast<char*>("zepl")};
            for (const std::string& word : words) list.push_back(const_cast<char*>(word.c_str()));
            list.push_back(nullptr);
            ::execv(TEST_STARVED_TOOL_FILE, list.data());
            ::_exit(127);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readTextFile(seen_ / "out"), readTextFile(seen_ / "err")};
    }

    std::map<std::string, std::string> outputsNow() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            if (!isGiven(entry.path().filename()))
                found[entry.path().filename()] = withoutSeconds(readTextFile(entry.path()));
        return found;
    }

    long allocationsOf(const Words& words) const {
        std::filesystem::create_directory(seen_);
        ::setenv("STARVED_COUNT", (seen_ / "count").c_str(), 1);
        starvedCall(words, 0, false);
        ::unsetenv("STARVED_COUNT");
        return std::stol(readTextFile(seen_ / "count"));
    }

    static constexpr const char* outputs[] = {"out.csv", "e.bin", "t.csv", "b.wav", "e.npy", "r.json"};

 private:
    static bool isGiven(const std::string& name) { return name == "data" || name == "in.csv" || name.ends_with(".zp"); }

    // The report's time differs from run to run.
    static std::string withoutSeconds(std::string text) {
        const std::size_t at = text.find("\"seconds\"");
        return at == std::string::npos ? text : text.substr(0, at);
    }

    void prepareChild(long at, bool on) const {
        ::alarm(60);  // one that hangs is ended by a signal
        ::setenv("STARVED_AT", std::to_string(at).c_str(), 1);
        if (on) ::setenv("STARVED_ON", "1", 1);
        const int in = ::open("/dev/null", O_RDONLY);
        const int out = ::open((seen_ / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        const int err = ::open((seen_ / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        if (::chdir(folder_.c_str()) != 0 || ::dup2(in, 0) != 0 || ::dup2(out, 1) != 1 || ::dup2(err, 2) != 2)
            ::_exit(126);
    }

    std::filesystem::path seen_ = folder_.string() + "-starved";
};

// The numbers of the allocations to try.
std::vector<long> tried(long all) {
    const char* const given = std::getenv("STARVED_STEP");
    const long step = given != nullptr ? std::max(std::atol(given), 1L) : all / 12 + 1;
    std::vector<long> numbers;
    for (long n = 1; n <= all; n += step) numbers.push_back(n);
    return numbers;
}

TEST_F(Starved, EveryCallEndsInOrderAtWhicheverAllocationFails) {
    for (const auto& [words, status] : scenes) {
        reset();
        const Called full = starvedCall(words, 0, false);
        EXPECT_EQ(full.status, status) << full.err;
        const auto made = outputsNow();
        reset();
        const auto before = outputsNow();
        for (const long at : tried(allocationsOf(words)))
            for (const bool on : {false, true}) {
                reset();
                const Called called = starvedCall(words, at, on);
                const auto found = outputsNow();
                std::string label = "allocation " + std::to_string(at) + (on ? " and all after it" : "") + " of";
                for (const std::string& word : words) label += " " + word;
                SCOPED_TRACE(label + "\n" + called.err);
                if (called.status == full.status && called.out == full.out && found == made) continue;
                EXPECT_TRUE(called.status == 1 || called.status == 2) << called.status;
                EXPECT_NE(called.err, "");
                for (const auto& [name, bytes] : found) {
                    if (name.ends_with(".failed")) continue;
                    EXPECT_TRUE(before.contains(name) &&
                                (name == "r.json" || bytes == before.at(name) || bytes == made.at(name)))
                        << name << ": " << bytes;
                }
            }
    }
}

}  // namespace
}  // namespace libzepl

#endif
