// progress.cc - the terminal progress bar.
#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace vtool {

namespace {

using Clock = std::chrono::steady_clock;

// 1234567 -> "1.2 MB".
std::string bytes(double n) {
    const char* units[] = {"B", "kB", "MB", "GB", "TB"};
    int u = 0;
    while (n >= 1000 && u < 4) n /= 1000, ++u;
    char buf[32];
    std::snprintf(buf, sizeof buf, u == 0 ? "%.0f %s" : "%.1f %s", n, units[u]);
    return buf;
}

}  // namespace

bool stderristty() { return isatty(2) != 0; }
bool stdinistty() { return isatty(0) != 0; }
bool barswanted() {
    const char* plain = std::getenv("NO_COLOR");
    return stderristty() && (plain == nullptr || *plain == '\0');
}

ProgressBar::ProgressBar(std::string label, int delayms)
    : label_(std::move(label)), enabled_(barswanted()), start_(Clock::now()), delay_(delayms) {
    if (const char* ms = std::getenv("VELNOR_PROGRESS_DELAY"))
        delay_ = std::chrono::milliseconds(std::atoi(ms));
}

ProgressBar::~ProgressBar() { finish(); }

void ProgressBar::setlabel(const std::string& label) {
    label_ = label;
    start_ = Clock::now();
}

void ProgressBar::draw(const std::string& line) {
    if (!enabled_) return;
    auto now = Clock::now();
    if (!drawn_ && now - start_ < delay_) return;
    std::string s = line.substr(0, 78);
    if (s == shown_ || (drawn_ && now - last_ < std::chrono::milliseconds(100))) return;
    std::fprintf(stderr, "\r%-78s", s.c_str());
    std::fflush(stderr);
    shown_ = s;
    last_ = now;
    drawn_ = true;
}

void ProgressBar::update(uint64_t done, uint64_t total) {
    if (!enabled_ || total == 0) return;
    if (done > total) done = total;
    int percent = static_cast<int>(done * 100 / total);
    const int width = 20;
    int filled = percent * width / 100;
    double secs = std::chrono::duration<double>(Clock::now() - start_).count();
    std::string line = label_ + " [" + std::string(filled, '#') +
                       std::string(width - filled, '.') + "] " + std::to_string(percent) +
                       "%  " + bytes(static_cast<double>(done)) + " of " +
                       bytes(static_cast<double>(total));
    if (secs > 0.05) line += "  " + bytes(done / secs) + "/s";
    draw(line);
}

void ProgressBar::text(const std::string& line) { draw(label_ + " " + line); }

void ProgressBar::finish() {
    if (!drawn_) return;
    std::fprintf(stderr, "\r%-78s\r", "");
    std::fflush(stderr);
    drawn_ = false;
    shown_.clear();
}

}  // namespace vtool
