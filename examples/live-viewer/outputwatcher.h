#ifndef OUTPUTWATCHER_H
#define OUTPUTWATCHER_H

#include <QObject>
#include <QString>
#include <QThread>

/**
 * Watches, from a thread of its own as a look at the hardware takes its time, whether the display
 * of an output stays plugged in; the log tells each change. Where the first look finds no display
 * the platform has no such outputs, and it is the last.
 */
class OutputWatcher : public QObject
{
    Q_OBJECT

public:
    /** Looks at the output of this name from now on. */
    explicit OutputWatcher(QString const& output);
    ~OutputWatcher() override;

Q_SIGNALS:
    /** The display was unplugged, or plugged in again. Emitted in the watching thread. */
    void pluggedChanged(bool plugged);

private:
    void watch();
    void look();

    QString const mOutput;
    QThread mThread;
    bool mPlugged = true; // only for the watching thread
};

#endif
