// The tool as its users call it: a process of its own in the test's folder.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "../runtime/files_support.h"

namespace libzepl {

// What a call came to.
struct Called {
    int status = -1;  // of its exit; -1 when it ended otherwise
    std::string out, err;
};

// A call that is written to and read from while it runs: it reads and writes through pipes, and its messages go to the file `said`.
class LiveTool {
 public:
    // `prepare` is done in the child. What `first` holds is there before the child begins.
    LiveTool(const std::filesystem::path& folder, std::vector<std::string> words, const std::string& first = {},
             void (*prepare)() = nullptr) {
        EXPECT_EQ(::pipe2(in_, O_CLOEXEC) + ::pipe2(out_, O_CLOEXEC), 0);
        write(first);
        std::vector<char*> arguments{const_cast<char*>("zepl")};
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        child_ = ::fork();
        if (child_ != 0) {
            ::close(in_[0]);
            ::close(out_[1]);
            return;
        }
        const int said = ::open((folder / "said").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        if (::chdir(folder.c_str()) == 0 && ::dup2(in_[0], 0) == 0 && ::dup2(out_[1], 1) == 1 && ::dup2(said, 2) == 2) {
            if (prepare != nullptr) prepare();
            ::execv(TEST_TOOL_FILE, arguments.data());
        }
        ::_exit(127);
    }
    LiveTool(const LiveTool&) = delete;
    LiveTool& operator=(const LiveTool&) = delete;
    ~LiveTool() {
        closeInput();
        closeOutput();
    }

    void write(const std::string& bytes) const {
        EXPECT_EQ(::write(in_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    // Waits for so many bytes, fewer at the end.
    std::string read(std::size_t count) const {
        std::string bytes;
        char piece[4096];
        for (ssize_t got = 1; got > 0 && bytes.size() < count;) {
            got = ::read(out_[0], piece, std::min(sizeof piece, count - bytes.size()));
            if (got > 0) bytes.append(piece, static_cast<std::size_t>(got));
        }
        return bytes;
    }
    pid_t process() const { return child_; }
    int output() const { return out_[0]; }
    void closeInput() { closeEnd(in_[1]); }
    void closeOutput() { closeEnd(out_[0]); }
    void send(int signal) const { EXPECT_EQ(::kill(child_, signal), 0); }
    // The exit status; -1 when a signal ended it.
    int wait() const {
        int status = 0;
        EXPECT_EQ(::waitpid(child_, &status, 0), child_);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

 private:
    static void closeEnd(int& end) {
        if (end >= 0) ::close(end);
        end = -1;
    }

    pid_t child_;
    int in_[2], out_[2];
};

class ToolTest : public FilesTest {
 protected:
    ToolTest() {
        std::filesystem::create_directory(at("data"));
        std::filesystem::copy_file(TEST_SOURCE_DIR "/examples/data/ecg208.wav", at("data/ecg208.wav"));
        put("in.csv", "x\n-1\n2\n-3\n");
    }
    ~ToolTest() override { std::filesystem::remove_all(seen_); }

    // Calls the tool in the test's folder; the arguments are the shell's, and so is what is done before and the redirections.
    Called call(const std::string& arguments, const std::string& input = "/dev/null",
                const std::string& redirections = {}, const std::string& before = {}) const {
        std::filesystem::create_directory(seen_);
        const std::string line = "cd '" + folder_.string() + "' && " + before + " '" TEST_TOOL_FILE "' " + arguments +
                                 " < '" + input + "' > '" + (seen_ / "out").string() + "' 2> '" +
                                 (seen_ / "err").string() + "' " + redirections;
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readTextFile(seen_ / "out"), readTextFile(seen_ / "err")};
    }

    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            names.insert(entry.path().filename().string());
        return names;
    }

    void remove(const std::string& name) const { std::filesystem::remove(at(name)); }

 private:
    std::filesystem::path seen_ = folder_.string() + "-seen";
};

}  // namespace libzepl
