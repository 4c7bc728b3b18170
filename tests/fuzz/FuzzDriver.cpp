#include "FuzzInputs.h"

#include <QByteArray>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

// Drives LLVMFuzzerTestOneInput where libFuzzer is not available (g++ ships none):
// mutates a few seed lists for a number of seconds and hands every input over.
// The generator starts from a fixed seed, so a run always tries the same inputs in
// the same order. A crash, a sanitizer report, one input running for 20 seconds or
// the process growing past 4 GiB ends the run with a failure.
//
//     fuzz_propertylist [SECONDS [SEED]]
//
// Built with libFuzzer instead, leave this file out: libFuzzer brings its own main.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

#if defined(__SANITIZE_ADDRESS__)
#define VELMORA_FUZZ_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELMORA_FUZZ_ASAN 1
#endif
#endif

#ifdef VELMORA_FUZZ_ASAN
// AddressSanitizer reserves terabytes of address space, so the cap below cannot
// apply; it watches the resident size instead.
extern "C" const char *__asan_default_options()
{
    return "hard_rss_limit_mb=4096";
}
#endif

namespace {

constexpr std::uint64_t kDefaultSeed = 20240601;
constexpr unsigned kSecondsPerInput = 20;

// The input under test, for the signal handler: a crash leaves it in
// "fuzz_propertylist-crash.bin" in the working folder, to replay by hand.
const char *g_input = nullptr;
std::size_t g_inputSize = 0;

void saveCrashInput(int signal)
{
    const int fd = open("fuzz_propertylist-crash.bin", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (std::size_t done = 0; fd >= 0 && done < g_inputSize;) {
        const ssize_t n = write(fd, g_input + done, g_inputSize - done);
        done = n > 0 ? done + std::size_t(n) : g_inputSize;
    }
    static const char message[] = "fuzz_propertylist: crashed or ran too long (SIGALRM); the "
                                  "input is in fuzz_propertylist-crash.bin\n";
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, message, sizeof message - 1);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void keepCrashInputs()
{
    // A stack overflow leaves no stack for the handler: give it one of its own.
    static std::vector<char> altStack(1 << 16);
    stack_t stack{};
    stack.ss_sp = altStack.data();
    stack.ss_size = altStack.size();
    sigaltstack(&stack, nullptr);
    struct sigaction action
    {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = saveCrashInput;
    action.sa_flags = SA_ONSTACK | SA_RESETHAND;
    for (int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGALRM})
        sigaction(signal, &action, nullptr);
}

} // namespace

int main(int argc, char **argv)
{
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 5;
    const std::uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : kDefaultSeed;
    if (seconds < 0) {
        std::fprintf(stderr, "usage: %s [SECONDS [SEED]]\n", argv[0]);
        return 2;
    }
    const std::vector<QByteArray> seedInputs = FuzzInputs::seeds();
    if (seedInputs.size() < 4) {
        std::fprintf(stderr, "fuzz_propertylist: could not write the seed lists\n");
        return 1;
    }
    keepCrashInputs();
#ifndef VELMORA_FUZZ_ASAN
    // A reader that let a small list unfold into billions of values would take the
    // machine's memory long before the test's time limit: fail on allocation instead.
    constexpr rlim_t kAddressSpace = rlim_t(4) << 30;
    const rlimit cap{kAddressSpace, kAddressSpace};
    setrlimit(RLIMIT_AS, &cap);
#endif

    FuzzInputs::Random random(seed);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::uint64_t tried = 0;
    const auto run = [&](const QByteArray &input) {
        g_input = input.constData();
        g_inputSize = std::size_t(input.size());
        // The slowest ordinary input takes well under a second; one that runs on is
        // a list the guard let through to unfold without end.
        alarm(kSecondsPerInput);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.constData()),
                               std::size_t(input.size()));
        alarm(0);
        ++tried;
    };
    for (const QByteArray &input : FuzzInputs::hostileInputs(random))
        run(input);
    for (const QByteArray &input : seedInputs)
        run(input);
    for (QByteArray previous; std::chrono::steady_clock::now() < deadline;) {
        const QByteArray input = FuzzInputs::next(random, seedInputs, previous);
        run(input);
        previous = input.size() <= 64 * 1024 ? input : QByteArray();
    }
    std::printf("fuzz_propertylist: %llu inputs in %d s (seed %llu)\n",
                static_cast<unsigned long long>(tried), seconds,
                static_cast<unsigned long long>(seed));
    return 0;
}
