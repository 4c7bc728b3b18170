#pragma once

#include <QObject>
#include <functional>

// Places the main window once launching has finished: 0.35 s later the first
// window gets its content size of 1120 × 730, its minimum of 980 × 680, is centred
// and raised. With no window by then it does nothing.
class VelmoraWindowDelegate : public QObject
{
    Q_OBJECT

public:
    // Runs `work` after `delayMs` unless `context` is gone by then; tests hand
    // in their own, to run the placing when they choose.
    using Schedule = std::function<void(int delayMs, QObject *context, std::function<void()> work)>;
    explicit VelmoraWindowDelegate(QObject *parent = nullptr, Schedule schedule = {});

    static constexpr int kDelayMs = 350;
    static constexpr int kWidth = 1120;
    static constexpr int kHeight = 730;
    static constexpr int kMinimumWidth = 980;
    static constexpr int kMinimumHeight = 680;

    void applicationDidFinishLaunching();
    // The delayed work itself.
    static void placeFirstWindow();

private:
    Schedule m_schedule;
};
