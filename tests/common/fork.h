// fork.h - child processes for the tests that contend through real
// processes (POSIX only; include it from *_posix.cc files): run a function
// in a forked child, signal between parent and child, collect exit codes.
#ifndef VELNOR_TESTS_COMMON_FORK_H
#define VELNOR_TESTS_COMMON_FORK_H

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace vntest {

// Two one-way pipes between a parent and one child.
class Signal {
public:
    Signal() {
        if (pipe(up_) != 0 || pipe(down_) != 0) up_[0] = up_[1] = down_[0] = down_[1] = -1;
    }
    ~Signal() {
        for (int fd : {up_[0], up_[1], down_[0], down_[1]}) if (fd >= 0) close(fd);
    }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    void childsays() { say(up_[1]); }
    bool parenthears() { return hear(up_[0]); }
    void parentsays() { say(down_[1]); }
    bool childhears() { return hear(down_[0]); }

private:
    static void say(int fd) {
        char c = 1;
        if (write(fd, &c, 1) != 1) _exit(90);
    }
    static bool hear(int fd) {
        char c = 0;
        return read(fd, &c, 1) == 1;
    }
    int up_[2];
    int down_[2];
};

// Runs body in a child process, which exits with body's result.
inline pid_t spawn(const std::function<int()>& body) {
    pid_t pid = fork();
    if (pid == 0) _exit(body());
    return pid;
}

// The child's exit code, or -1 when it did not exit normally.
inline int waitexit(pid_t pid) {
    int st = 0;
    if (waitpid(pid, &st, 0) != pid) return -1;
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

// Runs body in a child and waits: the child's exit code.
inline int child(const std::function<int()>& body) { return waitexit(spawn(body)); }

}  // namespace vntest

#endif
