#include "cli/progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace cli {

namespace {

std::string withPrefix(double perSecond) {
    char text[64];
    if (perSecond >= 1e6)
        std::snprintf(text, sizeof text, "%.1f million", perSecond / 1e6);
    else
        std::snprintf(text, sizeof text, "%.0f", perSecond);
    return text;
}

}  // namespace

std::string durationText(double seconds) {
    char text[64];
    const auto whole = static_cast<long>(seconds + 0.5);
    if (whole >= 60)
        std::snprintf(text, sizeof text, "%ld min %02ld s", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%ld s", whole);
    return text;
}

std::string describe(const libzepl::Progress& progress) {
    const double perSecond = static_cast<double>(progress.delivered) / progress.seconds;
    const std::string speed = withPrefix(perSecond) + " samples a second";
    if (!progress.expected || *progress.expected == 0) return std::to_string(progress.delivered) + " samples, " + speed;
    const std::string done = std::to_string(progress.delivered * 100 / *progress.expected) + " %, " + speed;
    if (progress.delivered == 0) return done;
    const auto left = static_cast<double>(*progress.expected - progress.delivered) / perSecond;
    return done + ", " + durationText(left) + " left";
}

ProgressLine::ProgressLine(bool wanted) : wanted_(wanted && ::isatty(STDERR_FILENO) != 0) {}

void ProgressLine::show(const libzepl::Progress& progress) {
    if (progress.seconds >= 1) show(describe(progress));
}

void ProgressLine::show(const std::string& text) {
    if (!wanted_) return;
    std::fprintf(stderr, "\r\033[K%s", text.c_str());
    std::fflush(stderr);
    shown_ = true;
}

void ProgressLine::clear() {
    if (!shown_) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    shown_ = false;
}

}  // namespace cli
