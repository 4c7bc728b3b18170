#pragma once

#include "StopToken.h"

#include <QThread>
#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

// Runs work(i) for i in [0, count) on every core; each index runs exactly once.
// work must only touch its own index's data.
template <typename Work> void parallelFor(qsizetype count, Work work, int threads = 0)
{
    if (count <= 0)
        return;
    if (threads <= 0)
        threads = std::max(1, QThread::idealThreadCount());
    threads = int(std::min<qsizetype>(threads, count));
    std::atomic<qsizetype> next{0};
    // A stopped walk leaves the rest undone: its outcome is dropped anyway.
    auto run = [&] {
        for (qsizetype i = next++; i < count && !StopToken::requested(); i = next++)
            work(i);
    };
    const StopToken::Flag stop = StopToken::current();
    std::vector<std::thread> helpers;
    for (int t = 1; t < threads; ++t)
        helpers.emplace_back([&run, stop] {
            const StopToken::Scope scope(stop);
            run();
        });
    run();
    for (std::thread &t : helpers)
        t.join();
}
