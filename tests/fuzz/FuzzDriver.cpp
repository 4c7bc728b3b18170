#include "FuzzInputs.h"
#include "PropertyList.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QVariantList>
#include <QVariantMap>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <random>
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

using FuzzInputs::below;
using FuzzInputs::deepXml;
using FuzzInputs::hostileInputs;
using FuzzInputs::kMaxInput;
using FuzzInputs::mutate;
using FuzzInputs::Random;
using FuzzInputs::randomBinary;
using FuzzInputs::randomChainBinary;
using FuzzInputs::seeds;

constexpr std::uint64_t kDefaultSeed = 20240601;
constexpr unsigned kSecondsPerInput = 20;

// ---- Keeping the input that crashed --------------------------------------------

// The input under test, for the signal handler: a crash leaves it in
// "fuzz_propertylist-crash.bin" in the working folder, to replay by hand.
const char *g_input = nullptr;
std::size_t g_inputSize = 0;

void saveCrashInput(int signal)
{
    const int fd = open("fuzz_propertylist-crash.bin", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) {
        std::size_t written = 0;
        while (written < g_inputSize) {
            const ssize_t n = write(fd, g_input + written, g_inputSize - written);
            if (n <= 0)
                break;
            written += std::size_t(n);
        }
        close(fd);
    }
    static const char crashed[] = "fuzz_propertylist: crashed; input saved to "
                                  "fuzz_propertylist-crash.bin\n";
    static const char slow[] = "fuzz_propertylist: one input ran too long; saved to "
                               "fuzz_propertylist-crash.bin\n";
    const char *message = signal == SIGALRM ? slow : crashed;
    const std::size_t length = signal == SIGALRM ? sizeof slow - 1 : sizeof crashed - 1;
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, message, length);
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
    const std::vector<QByteArray> seedInputs = seeds();
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

    Random random(seed);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::uint64_t tried = 0;
    QByteArray previous;
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
    for (const QByteArray &input : hostileInputs(random))
        run(input);
    for (const QByteArray &input : seedInputs)
        run(input);
    while (std::chrono::steady_clock::now() < deadline) {
        QByteArray input;
        const std::uint64_t pick = below(random, 12);
        if (pick == 0) {
            input = randomBinary(random);
        } else if (pick == 1) {
            input = randomChainBinary(random);
        } else if (pick == 2) {
            input = deepXml(random);
        } else {
            // Half the time keep working on the last input, so mutations pile up.
            input = pick < 7 && !previous.isEmpty() ? previous
                                                    : seedInputs[below(random, seedInputs.size())];
            for (int n = 1 + int(below(random, 4)); n > 0; --n)
                mutate(input, random, seedInputs);
        }
        run(input);
        previous = input.size() <= 64 * 1024 ? input : QByteArray();
    }
    std::printf("fuzz_propertylist: %llu inputs in %d s (seed %llu)\n",
                static_cast<unsigned long long>(tried), seconds,
                static_cast<unsigned long long>(seed));
    return 0;
}
