#include "VelmoraWindowDelegate.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QWindow>

VelmoraWindowDelegate::VelmoraWindowDelegate(QObject *parent, Schedule schedule)
    : QObject(parent), m_schedule(std::move(schedule))
{
    if (!m_schedule)
        m_schedule = [](int delayMs, QObject *context, std::function<void()> work) {
            QTimer::singleShot(delayMs, context, std::move(work));
        };
}

void VelmoraWindowDelegate::applicationDidFinishLaunching()
{
    m_schedule(kDelayMs, this, &VelmoraWindowDelegate::placeFirstWindow);
}

void VelmoraWindowDelegate::placeFirstWindow()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    if (windows.isEmpty())
        return;
    QWindow *window = windows.first();
    window->resize(kWidth, kHeight);
    window->setMinimumSize(QSize(kMinimumWidth, kMinimumHeight));
    if (QScreen *screen = window->screen()) {
        const QRect area = screen->availableGeometry();
        window->setPosition(area.x() + (area.width() - kWidth) / 2,
                            area.y() + (area.height() - kHeight) / 2);
    }
    window->show();
    window->raise();
    window->requestActivate();
}
