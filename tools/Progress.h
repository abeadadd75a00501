// A progress bar on stderr for long exports: frames done, rate and time left. It
// shows only on a terminal, and only once the work has taken about a second.
#ifndef KVMCF_TOOLS_PROGRESS_H
#define KVMCF_TOOLS_PROGRESS_H

#include <chrono>
#include <string>

namespace kvmcftools {

class Progress {
public:
    // quiet, or stderr not a terminal, keeps it silent.
    Progress(std::string label, unsigned long long total, bool quiet);
    ~Progress();

    void Advance(unsigned long long steps = 1);
    // Clears the bar.
    void Finish();

    // The bar's text for done of total after seconds, width columns of bar.
    static std::string Line(const std::string& label, unsigned long long done, unsigned long long total,
                            double seconds, int width);

private:
    using Clock = std::chrono::steady_clock;
    std::string label_;
    unsigned long long total_ = 0, done_ = 0;
    bool enabled_ = false, shown_ = false;
    Clock::time_point start_, lastDraw_;
};

}  // namespace kvmcftools

#endif
