// Pictures by gnuplot, a process of its own: it reads its script from a file without a name, and writes to another.

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>

#include "cli/plot/draw.h"
#include "runtime/diagnostics.h"
#include "runtime/files.h"
#include "runtime/output_files.h"

namespace cli {

namespace {

using libzepl::Problem;

constexpr std::array colours{"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#8c564b", "#17becf", "#e377c2"};
constexpr const char* palette =
    "set palette defined (0 '#440154', 1 '#3b528b', 2 '#21918c', 3 '#5ec962', 4 '#fde725')\n";

// In single quotes gnuplot replaces nothing. What names have of control characters is left out.
std::string quotedText(const std::string& text) {
    std::string quoted = "'";
    for (const char letter : text) {
        if (static_cast<unsigned char>(letter) < ' ') continue;
        quoted += letter;
        if (letter == '\'') quoted += letter;
    }
    return quoted + "'";
}

std::string number(double value) {
    std::array<char, 32> text;
    return {text.data(),
            std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 7).ptr};
}

std::string range(const Limits& limits) { return "[" + number(limits.from) + ":" + number(limits.to) + "]"; }

// A band's two ends become two points of the line, the nearer one of the point before first.
std::string dataOf(const Curve& curve) {
    std::string lines;
    double last = 0;
    for (const Band& band : curve.bands) {
        const bool fromLow = std::fabs(band.low - last) <= std::fabs(band.high - last);
        const double first = fromLow ? band.low : band.high;
        last = fromLow ? band.high : band.low;
        const std::string x = number(band.x) + " ";
        lines += x + number(first) + "\n";
        if (first != last) lines += x + number(last) + "\n";
    }
    return lines;
}

std::string dataOf(const LevelMap& map, const Limits& levels) {
    std::string lines;
    for (std::size_t i = 0; i < map.levels.size(); ++i) {
        const double level = std::isfinite(map.levels[i]) ? static_cast<double>(map.levels[i]) : levels.from;
        lines += number(map.firstX + map.stepX * static_cast<double>(i / map.rows)) + " " +
                 number(map.stepY * (static_cast<double>(i % map.rows) + 0.5)) + " " +
                 number(std::max(level, levels.from)) + "\n";
    }
    return lines;
}

std::string setUp(const Picture& picture, bool isVector) {
    std::string script = isVector
                             ? "set terminal svg size 800,360 noenhanced font 'sans-serif,12' background '#ffffff'\n"
                             : "set terminal pngcairo size 1200,540 noenhanced font 'sans-serif,13'\n";
    script +=
        "set encoding utf8\nset border 3 lc rgb '#555555'\nset tics nomirror\nset grid lc rgb '#dddddd' lt 1 lw 1\n";
    script += "set key above right samplen 2\n";
    if (!picture.title.empty()) script += "set title " + quotedText(picture.title) + "\n";
    script += "set xlabel " + quotedText(picture.xLabel) + "\nset ylabel " + quotedText(picture.yLabel) + "\n";
    script += "set xrange " + range(picture.x) + "\nset yrange " + range(picture.y) + "\n";
    return script;
}

void addPlot(std::string& plots, const std::string& what) { plots += (plots.empty() ? "plot " : ", ") + what; }

std::string scriptOf(const Picture& picture, bool isVector) {
    std::string script = setUp(picture, isVector), plots;
    const auto addData = [&](const std::string& name, const std::string& lines) {
        script += name + " << EOD\n" + lines + "EOD\n";
    };
    const std::vector<double> marks = thinnedMarks(picture, gnuplotColumns);
    if (!marks.empty()) {
        std::string lines;
        for (const double mark : marks) lines += number(mark) + " 1\n";
        addData("$marks", lines);
        script += "set y2range [0:1]\nunset y2tics\n";
        addPlot(plots, "$marks axes x1y2 with impulses lc rgb '#444444' dt 2 title " + quotedText(picture.marksName));
    }
    if (picture.map && picture.map->columns() > 0) {
        const Limits levels = levelsOf(*picture.map);
        addData("$map", dataOf(*picture.map, levels));
        script += palette + ("set cbrange " + range(levels)) + "\nset cblabel " + quotedText(picture.mapLabel) + "\n";
        addPlot(plots, "$map using 1:2:3 with image notitle");
    }
    constexpr std::size_t fewPoints = 60;
    for (std::size_t i = 0; i < picture.curves.size(); ++i) {
        const Curve& curve = picture.curves[i];
        if (curve.bands.empty()) continue;
        const std::string name = "$curve" + std::to_string(i);
        addData(name, dataOf(curve));
        const std::string style = curve.bands.size() <= fewPoints ? " with linespoints pt 7 ps 0.4" : " with lines";
        addPlot(plots, name + style + " lc rgb '" + colours[i % colours.size()] + "' title " +
                           (picture.curves.size() > 1 ? quotedText(curve.name) : "''"));
    }
    if (plots.empty()) plots = "plot NaN notitle";
    return script + plots + "\n";
}

[[noreturn]] void refuseMemory() {
    throw Problem(std::string("the system has no memory for a picture: ") + std::strerror(errno),
                  "close other programs, or give a shorter --range");
}

class NamelessFile {
 public:
    NamelessFile() : descriptor_(::memfd_create("zepl", 0)) {
        if (descriptor_ < 0) refuseMemory();
    }
    NamelessFile(const NamelessFile&) = delete;
    NamelessFile& operator=(const NamelessFile&) = delete;
    ~NamelessFile() { ::close(descriptor_); }
    int descriptor() const { return descriptor_; }

    void put(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t written = ::write(descriptor_, text.data(), text.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) refuseMemory();
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        ::lseek(descriptor_, 0, SEEK_SET);
    }
    std::string text() const {
        struct ::stat facts {};
        ::fstat(descriptor_, &facts);
        std::string all(static_cast<std::size_t>(facts.st_size), '\0');
        std::size_t done = 0;
        for (ssize_t got = 1; got > 0 && done<all.size(); done += got> 0 ? static_cast<std::size_t>(got) : 0)
            got = ::pread(descriptor_, all.data() + done, all.size() - done, static_cast<off_t>(done));
        all.resize(done);
        return all;
    }

 private:
    int descriptor_;
};

std::string firstLine(const std::string& text) {
    const std::size_t start = text.find_first_not_of(" \n");
    return start == std::string::npos ? std::string() : text.substr(start, text.find('\n', start) - start);
}

// What gnuplot writes when it is given the script; its own start-up files are left out.
std::string outputOfGnuplot(const std::string& script) {
    const NamelessFile input, output, said;
    input.put(script);
    ::posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input.descriptor(), 0);
    ::posix_spawn_file_actions_adddup2(&actions, output.descriptor(), 1);
    ::posix_spawn_file_actions_adddup2(&actions, said.descriptor(), 2);
    char name[] = "gnuplot", bare[] = "-d", standardInput[] = "-";
    char* words[] = {name, bare, standardInput, nullptr};
    std::vector<char*> variables;
    for (char** each = environ; *each != nullptr; ++each)
        if (std::strncmp(*each, "LC_", 3) != 0 && std::strncmp(*each, "LANG", 4) != 0) variables.push_back(*each);
    char locale[] = "LC_ALL=C.UTF-8";
    variables.insert(variables.end(), {locale, nullptr});
    ::pid_t child = 0;
    const int error = ::posix_spawnp(&child, name, &actions, nullptr, words, variables.data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error == ENOENT)
        throw Problem(
            "gnuplot, which draws .svg and .png files, is not installed",
            "install it (on Debian: apt install gnuplot-nox), or leave out --to for a picture in the terminal");
    if (error != 0)
        throw Problem(std::string("gnuplot cannot be started: ") + std::strerror(error),
                      "check that `gnuplot --version` runs");
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
    if (status != 0)
        throw Problem("gnuplot could not draw the picture: " + firstLine(said.text()),
                      "check that `gnuplot --version` gives 5.4 or later");
    return output.text();
}

}  // namespace

void drawByGnuplot(const Picture& picture, const std::filesystem::path& path) {
    const std::string drawn = outputOfGnuplot(scriptOf(picture, path.extension() == ".svg"));
    libzepl::TextFile file(libzepl::isStandardStream(path) ? std::filesystem::path("-") : path);
    file.write(drawn);
    file.finish();
}

}  // namespace cli
