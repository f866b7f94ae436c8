#ifndef PROGRAM_H
#define PROGRAM_H

#include <QProcess>
#include <QString>
#include <QStringList>

/** A program of this build, beside the benchmark; ended by SIGTERM with the object. */
class Program
{
public:
    Program(const QString& name, const QStringList& arguments);
    ~Program() { end(); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return pid_t(mProcess.processId()); }
    bool isRunning() const { return mProcess.state() == QProcess::Running; }

    /** @return whether it had been running and left in good order */
    bool end();

private:
    QProcess mProcess;
};

/** The value of the environment variable QVORLIN_BENCH_SECONDS, or else @p usual. */
int secondsToMeasure(int usual);

#endif
