#include "ModuleProcess.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace standin {
namespace {

// The intermediary's descriptors: 0 the input, 1 and 2 the output pipe, then these two.
constexpr int kControl = 3;  // read end: end of file once the caller stops waiting
constexpr int kReport = 4;   // write end: one Report when the run is over
// The caller's descriptors handed over sit at or above this, so that setting up 0 to 4 never
// overwrites one of them.
constexpr int kLowest = 5;

struct Report {
    int kind;
    int value;
    pid_t pid;
};

// What the intermediary needs, all prepared before the fork: after it, a multithreaded caller's
// child may only make async-signal-safe calls (no allocation).
struct Plan {
    const char* path;
    char* const* argv;
    char* const* envp;
    int input, output, control, report;
    long long deadline;  // CLOCK_MONOTONIC nanoseconds
};

// ---- The intermediary and the module, between fork and exec: async-signal-safe calls only ----

long long Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

timespec Duration(long long nanoseconds) {
    return {static_cast<time_t>(nanoseconds / 1000000000),
            static_cast<long>(nanoseconds % 1000000000)};
}

pid_t Number(const char* digits) {
    pid_t number = 0;
    for (; *digits >= '0' && *digits <= '9'; ++digits) number = number * 10 + (*digits - '0');
    return number;
}

// The parent of process `pid`, from /proc/<pid>/stat; -1 when unknown.
pid_t ParentOf(pid_t pid) {
    char digits[16];
    std::size_t count = 0;
    do {
        digits[count++] = static_cast<char>('0' + pid % 10);
        pid /= 10;
    } while (pid > 0 && count < sizeof digits);
    char path[40] = "/proc/";
    std::size_t length = std::strlen(path);
    while (count > 0) path[length++] = digits[--count];
    std::memcpy(path + length, "/stat", sizeof "/stat");
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return -1;
    char text[512];
    const ssize_t size = read(file, text, sizeof text - 1);
    close(file);
    if (size <= 0) return -1;
    text[size] = '\0';
    // "<pid> (<name>) <state> <parent> ...": the name may hold anything, the last ')' ends it.
    const char* field = std::strrchr(text, ')');
    if (field == nullptr || std::strlen(field) < 4) return -1;
    return Number(field + 4);
}

// Whether process `pid` descends from process `ancestor`, its parents followed up through /proc.
bool DescendsFrom(pid_t pid, pid_t ancestor) {
    for (int step = 0; step < 256 && pid > 1; ++step) {
        pid = ParentOf(pid);
        if (pid == ancestor) return true;
    }
    return false;
}

// Calls `act` for every process that descends from this one.
template <class Act>
void ForEachDescendant(Act act) {
    const pid_t self = getpid();
    const int proc = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (proc < 0) return;
    alignas(dirent64) char entries[4096];
    ssize_t size;
    while ((size = getdents64(proc, entries, sizeof entries)) > 0) {
        for (ssize_t at = 0; at < size;) {
            const auto* entry = reinterpret_cast<const dirent64*>(entries + at);
            at += entry->d_reclen;
            const char first = entry->d_name[0];
            if (first < '1' || first > '9') continue;
            const pid_t pid = Number(entry->d_name);
            if (DescendsFrom(pid, self)) act(pid);
        }
    }
    close(proc);
}

// Stops the module and every process it started, round after round until a round finds none
// running: a stopped process neither forks nor dies, so none leaves the tree (a new session
// included) while it is walked. The processes found, at most kMaxFound; static, since this runs
// in a child that may only make async-signal-safe calls.
constexpr std::size_t kMaxFound = 4096;
pid_t gFound[kMaxFound];
std::size_t gFoundCount = 0;

void StopDescendants(pid_t module) {
    kill(-module, SIGSTOP);
    for (int round = 0; round < 64; ++round) {
        bool stopped = false;
        ForEachDescendant([&](pid_t pid) {
            for (std::size_t i = 0; i < gFoundCount; ++i) {
                if (gFound[i] == pid) return;
            }
            if (gFoundCount < kMaxFound) gFound[gFoundCount++] = pid;
            kill(pid, SIGSTOP);
            stopped = true;
        });
        if (!stopped) return;
    }
}

// Kills the module's process group and every descendant until none is left: first the whole
// tree, stopped and found through parents while the module holds it together; then those that
// come here, as to their subreaper, once their parents die (where a system has subreapers).
void KillEverything(pid_t module) {
    StopDescendants(module);
    for (std::size_t i = 0; i < gFoundCount; ++i) kill(gFound[i], SIGKILL);
    kill(-module, SIGKILL);
    kill(module, SIGKILL);
    for (;;) {
        ForEachDescendant([](pid_t pid) { kill(pid, SIGKILL); });
        pid_t reaped;
        while ((reaped = waitpid(-1, nullptr, WNOHANG)) > 0) {
        }
        if (reaped < 0 && errno == ECHILD) return;
        const timespec pause = Duration(1000000);
        nanosleep(&pause, nullptr);
    }
}

[[noreturn]] void Finish(int kind, int value, pid_t pid) {
    const Report report{kind, value, pid};
    while (write(kReport, &report, sizeof report) < 0 && errno == EINTR) {
    }
    _exit(0);
}

[[noreturn]] void StartModule(const Plan& plan, int failures) {
    setpgid(0, 0);
    execve(plan.path, plan.argv, plan.envp);
    const int error = errno;
    if (write(failures, &error, sizeof error) < 0) _exit(127);
    _exit(127);
}

// Waits for the module until it exits, its time is up or the caller stops waiting (polled: a
// signal handler would be the caller's business).
[[noreturn]] void Supervise(pid_t module, long long deadline) {
    long long pause = 500000;
    for (;;) {
        int status = 0;
        const pid_t done = waitpid(module, &status, WNOHANG);
        if (done == module) Finish(ProcessEnd::Exited, status, module);
        if (done < 0 && errno != EINTR) {
            const int error = errno;
            KillEverything(module);
            Finish(ProcessEnd::NotWaited, error, module);
        }
        const long long left = deadline - Now();
        if (left <= 0) {
            KillEverything(module);
            Finish(ProcessEnd::TimedOut, 0, module);
        }
        pollfd control{kControl, POLLIN, 0};
        const timespec wait = Duration(std::min(pause, left));
        if (ppoll(&control, 1, &wait, nullptr) > 0) {
            KillEverything(module);
            Finish(ProcessEnd::Stopped, 0, module);
        }
        pause = std::min(pause * 2, 50000000LL);
    }
}

[[noreturn]] void Intermediary(const Plan& plan) {
    if (dup2(plan.report, kReport) < 0) _exit(127);
    struct sigaction defaults {};
    defaults.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &defaults, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // A group of its own: a terminal's signals to the caller's group do not end it before the
    // module; the caller's end closes the control pipe instead.
    setpgid(0, 0);
    if (dup2(plan.control, kControl) < 0 || dup2(plan.input, 0) < 0 || dup2(plan.output, 1) < 0 ||
        dup2(plan.output, 2) < 0) {
        Finish(ProcessEnd::NotStarted, errno, 0);
    }
    closefrom(kLowest);
    fcntl(kControl, F_SETFD, FD_CLOEXEC);
    fcntl(kReport, F_SETFD, FD_CLOEXEC);
    // Without it (a kernel before 3.4) the module's process group is still killed.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    int failures[2];
    if (pipe2(failures, O_CLOEXEC) != 0) Finish(ProcessEnd::NotStarted, errno, 0);
    const pid_t module = fork();
    if (module == 0) StartModule(plan, failures[1]);
    if (module < 0) Finish(ProcessEnd::NotStarted, errno, 0);
    setpgid(module, module);
    // Only the module holds its input and output now.
    close(failures[1]);
    close(0);
    close(1);
    close(2);
    int error = 0;
    ssize_t got;
    while ((got = read(failures[0], &error, sizeof error)) < 0 && errno == EINTR) {
    }
    close(failures[0]);
    if (got == sizeof error) {
        waitpid(module, nullptr, 0);
        Finish(ProcessEnd::NotStarted, error, module);
    }
    Supervise(module, plan.deadline);
}

// ---- The caller's side ----

class Descriptor {
public:
    Descriptor() = default;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Close(); }
    int get() const { return descriptor_; }
    // Takes `descriptor`, moved at or above kLowest; false (errno set) when there is none.
    bool Take(int descriptor) {
        if (descriptor >= 0 && descriptor < kLowest) {
            const int raised = fcntl(descriptor, F_DUPFD_CLOEXEC, kLowest);
            const int error = errno;
            close(descriptor);
            errno = error;
            descriptor = raised;
        }
        descriptor_ = descriptor;
        return descriptor >= 0;
    }
    void Close() {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_ = -1;
};

struct Pipe {
    Descriptor reader, writer;
    bool Open() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return false;
        const bool taken = reader.Take(ends[0]);
        return writer.Take(ends[1]) && taken;
    }
};

// The module's standard input: a memory file, so that input of any size is there at once and
// nothing waits on a reader.
int InputFile(const std::string& input) {
    const int descriptor = memfd_create("configstore-apply", MFD_CLOEXEC);
    if (descriptor < 0) return -1;
    for (std::size_t done = 0; done < input.size();) {
        const ssize_t written = write(descriptor, input.data() + done, input.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            const int error = written < 0 ? errno : EIO;
            close(descriptor);
            errno = error;
            return -1;
        }
        done += static_cast<std::size_t>(written);
    }
    if (lseek(descriptor, 0, SEEK_SET) < 0) {
        const int error = errno;
        close(descriptor);
        errno = error;
        return -1;
    }
    return descriptor;
}

// Reads what the pipe holds now into `kept`, keeping its end; false at end of file or error.
bool Drain(int pipe, std::string& kept) {
    char buffer[4096];
    for (;;) {
        const ssize_t size = read(pipe, buffer, sizeof buffer);
        if (size > 0) {
            kept.append(buffer, static_cast<std::size_t>(size));
            if (kept.size() > 2 * kOutputKept) kept.erase(0, kept.size() - kOutputKept);
        } else if (size < 0 && errno == EINTR) {
            continue;
        } else {
            return size < 0 && errno == EAGAIN;
        }
    }
}

ProcessEnd NotStarted(int error) {
    ProcessEnd end;
    end.value = error;
    return end;
}

}  // namespace

ProcessEnd RunProcess(const std::string& path, const std::string& input,
                      std::vector<std::string> environment, double seconds,
                      const volatile std::sig_atomic_t* stop) {
    Descriptor inputFile;
    Pipe output, control, report;
    if (!inputFile.Take(InputFile(input)) || !output.Open() || !control.Open() || !report.Open()) {
        return NotStarted(errno);
    }
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    char* argv[] = {const_cast<char*>(path.c_str()), nullptr};
    const Plan plan{path.c_str(),        argv,
                    envp.data(),         inputFile.get(),
                    output.writer.get(), control.reader.get(),
                    report.writer.get(), Now() + std::llround(seconds * 1e9)};
    const pid_t intermediary = fork();
    if (intermediary == 0) Intermediary(plan);
    if (intermediary < 0) return NotStarted(errno);
    inputFile.Close();
    output.writer.Close();
    control.reader.Close();
    report.writer.Close();
    fcntl(output.reader.get(), F_SETFL, O_NONBLOCK);

    // Drains the output while waiting for the report, so that a module printing much never
    // blocks; polled when a stop flag is to be watched.
    ProcessEnd end;
    end.kind = ProcessEnd::NotWaited;
    end.value = EPIPE;  // the intermediary ended without a report
    pollfd watched[] = {{output.reader.get(), POLLIN, 0}, {report.reader.get(), POLLIN, 0}};
    for (;;) {
        if (stop != nullptr && *stop != 0) control.writer.Close();
        const int ready = poll(watched, 2, stop != nullptr ? 100 : -1);
        if (ready < 0 && errno != EINTR) {
            end.value = errno;
            control.writer.Close();
            break;
        }
        if (ready <= 0) continue;
        if (watched[0].revents != 0 && !Drain(watched[0].fd, end.output)) watched[0].fd = -1;
        if (watched[1].revents != 0) {
            Report got{};
            ssize_t size;
            while ((size = read(watched[1].fd, &got, sizeof got)) < 0 && errno == EINTR) {
            }
            if (size == sizeof got) {
                end.kind = static_cast<ProcessEnd::Kind>(got.kind);
                end.value = got.value;
                end.pid = got.pid;
            }
            break;
        }
    }
    // What the module printed before it ended is in the pipe now; descendants that still hold
    // the pipe are not waited for.
    if (watched[0].fd >= 0) Drain(watched[0].fd, end.output);
    if (end.output.size() > kOutputKept) end.output.erase(0, end.output.size() - kOutputKept);
    while (waitpid(intermediary, nullptr, 0) < 0 && errno == EINTR) {
    }
    return end;
}

}  // namespace standin
