#ifndef FRAMELOG_H
#define FRAMELOG_H

#include <QFile>

/**
 * A file with a line for each new frame: its time and when it was on the screen, in microseconds of
 * the wall clock.
 */
class FrameLog
{
public:
    /** Replaces what is in the file @p name; with an empty name nothing is written. */
    explicit FrameLog(QString const& name);

    void write(qint64 timestamp, qint64 painted);

    /** @return whether all of it is in the file; if not, why is told on the standard error */
    bool finish(char const* program);

private:
    QFile mFile;
};

#endif
