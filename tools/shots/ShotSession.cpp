#include "ShotSession.h"

#include "DiskStatus.h"

#include <QAnimationDriver>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QVariant>
#include <algorithm>
#include <cstdio>

// The animations' clock: it moves only while the shots settle, and by exactly
// the time they settle, so a spinner or a fade is at the same point on every
// run whatever the machine's speed.
class ShotAnimationClock : public QAnimationDriver
{
public:
    qint64 elapsed() const override { return m_ms - m_startMs; }
    void step(qint64 ms)
    {
        m_ms += ms;
        advance();
    }

protected:
    void start() override
    {
        m_startMs = m_ms;
        QAnimationDriver::start();
    }

private:
    qint64 m_ms = 0;
    qint64 m_startMs = 0;
};

ShotSession::ShotSession(const QString &outDir)
    : m_outDir(outDir), m_clock(std::make_unique<ShotAnimationClock>())
{
    m_clock->install();
}

ShotSession::~ShotSession() = default;

bool ShotSession::start()
{
    if (!m_app.load())
        return false;
    m_window = m_app.window();
    m_content = m_window ? m_window->findChild<QObject *>(QStringLiteral("contentView")) : nullptr;
    if (!m_content) {
        std::fprintf(stderr, "velmora-shots: no content view in the main window\n");
        return false;
    }
    m_window->resize(1120, 730);
    m_window->show();
    settle(400);
    fixDiskFigures();
    return true;
}

void ShotSession::fixDiskFigures()
{
    // The volume the demo tree lies on fills and empties with whatever else runs
    // on the machine; the shots show a disk of their own. The dashboard reads the
    // real figures again each time it is shown, so this follows each showing.
    for (DiskStatus *disk : m_content->findChildren<DiskStatus *>()) {
        disk->setTotalBytes(qint64(500) * 1000 * 1000 * 1000);
        disk->setFreeBytes(qint64(187) * 1000 * 1000 * 1000);
    }
    settle(50);
}

void ShotSession::settle(int ms)
{
    constexpr int kFrameMs = 16;
    QElapsedTimer timer;
    timer.start();
    for (int animated = 0; animated < ms || timer.elapsed() < ms;) {
        if (animated < ms) {
            const int step = std::min(kFrameMs, ms - animated);
            m_clock->step(step);
            animated += step;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        // Closed screens are deleted later; outside a running event loop that
        // only happens when asked.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

bool ShotSession::waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

QObject *ShotSession::find(const QString &objectName) const
{
    if (QObject *found = m_window->findChild<QObject *>(objectName))
        return found;
    // Popups live in the window's overlay, outside the item tree of the content.
    const QList<QObject *> all = m_window->findChildren<QObject *>();
    for (QObject *object : all)
        if (object->objectName() == objectName)
            return object;
    return nullptr;
}

QObject *ShotSession::openModule(const QString &module)
{
    // As the sidebar does: a new screen with a scanner of its own.
    QMetaObject::invokeMethod(m_content, "openModule", Q_ARG(QVariant, module));
    QObject *screen = nullptr;
    waitFor(
        [&] {
            QObject *loader = find(QStringLiteral("moduleScreen"));
            screen = loader ? loader->property("item").value<QObject *>() : nullptr;
            return screen != nullptr;
        },
        5000);
    settle();
    return screen;
}

void ShotSession::showDashboard()
{
    m_content->setProperty("selectedModule", QString());
    settle();
    waitFor([this] { return find(QStringLiteral("workspace")) == nullptr; }, 5000);
    fixDiskFigures();
}

void ShotSession::failed(const QString &what)
{
    std::fprintf(stderr, "velmora-shots: %s\n", qPrintable(what));
    ++m_failures;
}

void ShotSession::resize(int width, int height)
{
    m_window->resize(width, height);
    settle(300);
}

void ShotSession::drawNow()
{
    (void)m_window->grabWindow();
}

bool ShotSession::shoot(const QString &name)
{
    settle();
    return shootNow(name);
}

bool ShotSession::shootNow(const QString &name)
{
    const QImage image = m_window->grabWindow();
    const QString path = QDir(m_outDir).filePath(name + QStringLiteral(".png"));
    if (image.isNull() || !image.save(path)) {
        failed(QStringLiteral("could not write ") + path);
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

int ShotSession::renderAll()
{
    shoot(QStringLiteral("dashboard"));
    shootLargeFiles(*this);
    showDashboard();
    shootDuplicates(*this);
    showDashboard();
    shootCleanup(*this);
    showDashboard();
    shootUninstaller(*this);
    showDashboard();
    shootProtection(*this);
    showDashboard();
    shootFullAnalysis(*this);
    showDashboard();
    shootChooser(*this);
    shootFocus(*this);
    shootScanning(*this);
    shootLongScans(*this);
    shootMinimumSize(*this);
    shootRemoval(*this);
    shootHistory(*this);
    return m_failures;
}
