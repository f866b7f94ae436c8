#include "outputwatcher.h"

#include <QTimer>

#include "extdisplay/extdisplay.h"
#include "logger.h"

namespace {

constexpr int IntervalMs = 1000;

} // namespace

OutputWatcher::OutputWatcher(QString const& output)
    : mOutput(output)
{
    mThread.setObjectName(QStringLiteral("output"));
    connect(
        &mThread, &QThread::started, &mThread, [this] { watch(); }, Qt::DirectConnection);
    mThread.start();
}

OutputWatcher::~OutputWatcher()
{
    mThread.quit();
    mThread.wait();
}

void OutputWatcher::watch()
{
    if (!extdisplay::isOutputConnected(mOutput))
        return;
    // Ends with its thread.
    auto* timer = new QTimer;
    connect(
        &mThread, &QThread::finished, timer, [timer] { delete timer; }, Qt::DirectConnection);
    connect(timer, &QTimer::timeout, timer, [this] { look(); });
    timer->start(IntervalMs);
}

void OutputWatcher::look()
{
    bool const plugged = extdisplay::isOutputConnected(mOutput);
    if (plugged == mPlugged)
        return;
    mPlugged = plugged;
    if (plugged)
        logger::info("output %s plugged in", qPrintable(mOutput));
    else
        logger::warning("output %s unplugged", qPrintable(mOutput));
    Q_EMIT pluggedChanged(plugged);
}
