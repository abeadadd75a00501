#include "tools/Progress.h"

#include <unistd.h>

#include <cstdio>

namespace kvmcftools {

namespace {
const double kQuietSeconds = 1.0;   // short jobs never show a bar
const double kRedrawSeconds = 0.1;  // a terminal need not redraw faster

std::string Duration(double seconds) {
    const long long s = static_cast<long long>(seconds + 0.5);
    char text[32];
    if (s >= 3600)
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
    else
        std::snprintf(text, sizeof text, "%lld:%02lld", s / 60, s % 60);
    return text;
}
}  // namespace

Progress::Progress(std::string label, unsigned long long total, bool quiet)
    : label_(std::move(label)), total_(total), enabled_(!quiet && isatty(STDERR_FILENO)),
      start_(Clock::now()), lastDraw_(start_) {}

Progress::~Progress() { Finish(); }

std::string Progress::Line(const std::string& label, unsigned long long done, unsigned long long total,
                           double seconds, int width) {
    const double part = total ? static_cast<double>(done) / static_cast<double>(total) : 1.0;
    const int filled = static_cast<int>(part * width);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(static_cast<std::size_t>(width), ' ');
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    const std::string left = rate > 0 ? Duration(static_cast<double>(total - done) / rate) : "?";
    char text[256];
    std::snprintf(text, sizeof text, "%s [%s] %llu/%llu frames, %.1f frames/s, %s left", label.c_str(),
                  bar.c_str(), done, total, rate, left.c_str());
    return text;
}

void Progress::Advance(unsigned long long steps) {
    done_ += steps;
    if (!enabled_) return;
    const Clock::time_point now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - start_).count();
    if (seconds < kQuietSeconds || std::chrono::duration<double>(now - lastDraw_).count() < kRedrawSeconds) return;
    lastDraw_ = now;
    shown_ = true;
    std::fprintf(stderr, "\r%s\033[K", Line(label_, done_, total_, seconds, 30).c_str());
    std::fflush(stderr);
}

void Progress::Finish() {
    if (!shown_) return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    shown_ = false;
}

}  // namespace kvmcftools
