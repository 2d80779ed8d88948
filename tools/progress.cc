// progress.cc - the terminal progress bar.
#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace vtool {

bool stderristty() { return isatty(2) != 0; }
bool stdinistty() { return isatty(0) != 0; }

ProgressBar::ProgressBar(std::string label, int delayms)
    : label_(std::move(label)), enabled_(stderristty()),
      start_(std::chrono::steady_clock::now()), delay_(delayms) {}

ProgressBar::~ProgressBar() { finish(); }

void ProgressBar::draw(const std::string& line) {
    if (!enabled_) return;
    if (!drawn_ && std::chrono::steady_clock::now() - start_ < delay_) return;
    std::string s = line.substr(0, 78);
    std::fprintf(stderr, "\r%-78s", s.c_str());
    std::fflush(stderr);
    drawn_ = true;
}

void ProgressBar::update(uint64_t done, uint64_t total) {
    if (!enabled_ || total == 0) return;
    int permille = static_cast<int>(done >= total ? 1000 : done * 1000 / total);
    if (permille == lastpermille_) return;
    lastpermille_ = permille;
    const int width = 40;
    int filled = permille * width / 1000;
    std::string bar = label_ + " [" + std::string(filled, '#') + std::string(width - filled, '.') +
                      "] " + std::to_string(permille / 10) + "%";
    draw(bar);
}

void ProgressBar::text(const std::string& line) { draw(label_ + " " + line); }

void ProgressBar::finish() {
    if (!drawn_) return;
    std::fprintf(stderr, "\r%-78s\r", "");
    std::fflush(stderr);
    drawn_ = false;
}

}  // namespace vtool
