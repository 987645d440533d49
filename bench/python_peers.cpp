#include "bench/python_peers.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

std::FILE* requests = nullptr;
std::FILE* answers = nullptr;
std::string libraries = ",";  // each between commas

}  // namespace

void startPython(const std::string& interpreter) {
    int down[2], up[2];
    if (interpreter.empty() || pipe(down) != 0 || pipe(up) != 0) return;
    std::signal(SIGPIPE, SIG_IGN);
    const pid_t child = fork();
    if (child == 0) {
        dup2(down[0], STDIN_FILENO);
        dup2(up[1], STDOUT_FILENO);
        for (const int end : {down[0], down[1], up[0], up[1]}) close(end);
        execlp(interpreter.c_str(), interpreter.c_str(), "-B", BENCH_SOURCE_DIR "/peers.py", nullptr);
        std::_Exit(127);
    }
    close(down[0]);
    close(up[1]);
    requests = fdopen(down[1], "w");
    answers = fdopen(up[0], "r");
    libraries.append(askPython("libraries")).append(",");
}

bool pythonHas(const std::string& library) { return libraries.find("," + library + ",") != std::string::npos; }

std::string askPython(const std::string& request) {
    if (requests == nullptr || answers == nullptr) return {};
    std::fprintf(requests, "%s\n", request.c_str());
    std::fflush(requests);
    std::string line;
    for (int c = std::fgetc(answers); c != EOF && c != '\n'; c = std::fgetc(answers)) line += static_cast<char>(c);
    return line;
}

}  // namespace bench
