// progress.h - one progress bar on stderr, drawn only when stderr is a
// terminal, NO_COLOR is not set and the work has already taken a moment,
// so that short runs, redirected output and plain terminals stay clean.  It is redrawn only when what it shows
// changes, and at most ten times a second.
#ifndef VELNOR_TOOLS_PROGRESS_H
#define VELNOR_TOOLS_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace vtool {

// Whether stderr (or stdin) is a terminal.
bool stderristty();
bool stdinistty();
// Whether bars may be drawn: stderr is a terminal and the environment has
// no NO_COLOR (set to anything but "") asking for plain output.
bool barswanted();

class ProgressBar {
public:
    // label: shown first (a file name, say); delayms: nothing is drawn
    // before that, unless the environment's VELNOR_PROGRESS_DELAY gives
    // other milliseconds (for scripts and tests that want the bar at once).
    explicit ProgressBar(std::string label, int delayms = 300);
    ~ProgressBar();
    // A new label, for the next piece of work; the rate starts again.
    void setlabel(const std::string& label);
    // done of total bytes: the bar, percentage, bytes and rate.  Cheap to
    // call often.
    void update(uint64_t done, uint64_t total);
    // A free text after the label instead of a bar; drawn under the same
    // rules.
    void text(const std::string& line);
    // Clears the line if anything was drawn.
    void finish();

private:
    void draw(const std::string& line);
    std::string label_;
    bool enabled_;
    bool drawn_ = false;
    std::string shown_;  // the line on the terminal
    std::chrono::steady_clock::time_point start_, last_;
    std::chrono::milliseconds delay_;
};

}  // namespace vtool

#endif
