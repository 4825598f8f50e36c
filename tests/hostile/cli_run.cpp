#include "hostile/cli_run.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "support/test_support.h"

#include <gtest/gtest.h>

namespace marqen::test {

void expectWithinBounds(const MeasuredRun &run) {
    EXPECT_EQ(run.signal, 0) << run.err;
    EXPECT_LT(run.processorSeconds, kSecondsBound);
    EXPECT_LT(run.maximumResidentKB, kResidentKBBound);
}

MeasuredRun runMeasured(const std::vector<std::string> &arguments, int killAfterSeconds) {
    TempDir dir;
    const std::string outPath = (dir / "out").string(), errPath = (dir / "err").string();
    std::vector<std::string> argv{MARQEN_CLI};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char *> pointers;
    for (auto &argument : argv) pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    // Under AddressSanitizer freed blocks wait in a quarantine of 256 MB before reuse, which would count
    // as the program's own memory; a small quarantine keeps the measure about the program.
    std::string asanOptions = "quarantine_size_mb=16";
    if (const char *inherited = std::getenv("ASAN_OPTIONS")) asanOptions = std::string(inherited) + ":" + asanOptions;

    pid_t child = ::fork();
    if (child == 0) {
        int in = ::open("/dev/null", O_RDONLY);
        int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        ::setenv("ASAN_OPTIONS", asanOptions.c_str(), 1);
        ::alarm(static_cast<unsigned>(killAfterSeconds));  // SIGALRM survives exec and ends a hang
        ::execv(pointers[0], pointers.data());
        ::_exit(127);
    }
    MeasuredRun run;
    int status = 0;
    struct rusage usage {};
    if (child > 0 && ::wait4(child, &status, 0, &usage) == child) {
        if (WIFEXITED(status)) run.exitStatus = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) run.signal = WTERMSIG(status);
        run.maximumResidentKB = usage.ru_maxrss;
    }
    auto seconds = [](const timeval &time) { return static_cast<double>(time.tv_sec) + time.tv_usec / 1e6; };
    run.processorSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    run.out = readFile(outPath);
    run.err = readFile(errPath);
    return run;
}

}  // namespace marqen::test
