#ifndef PUBLISHPROCESS_H
#define PUBLISHPROCESS_H

#include <QJsonObject>
#include <QProcess>
#include <QStringList>

/** The program shm-publish, started and ended by a test. */
class PublishProcess
{
public:
    /** @param environment additional variables, as "NAME=value" */
    explicit PublishProcess(QStringList const& arguments, QStringList const& environment = {});

    /** Ends what is still running. */
    ~PublishProcess();

    bool isRunning() const { return mProcess.state() != QProcess::NotRunning; }
    qint64 id() const { return mProcess.processId(); }
    /** Writes all of @p input to the program's standard input. */
    void write(QByteArray const& input);
    void closeInput() { mProcess.closeWriteChannel(); }

    /** Sends @p signal and waits. @return the exit code, -1 when it crashed or goes on */
    int stop(int signal = 15);
    /** Waits for the program to end by itself. @return as stop() */
    int wait(int milliseconds = 30000);

    /** All of standard error; all of standard output. Complete after stop() or wait(). */
    QString errors();
    QByteArray output();

    /** The last line of the statistics. */
    QJsonObject statistics();

private:
    QProcess mProcess;
    QByteArray mOutput;
    QByteArray mErrors;
};

/** The words of @p line and --name @p name. */
QStringList arguments(QString const& line, QString const& name);

/** The same with @p input. */
QStringList play(QString const& input, QString const& name, QString const& options = {});

/** Whether @p errors is one line of the program's own that contains @p what. */
bool isOneLine(QString const& errors, QString const& what);

/** A stream name that no other test uses at the same time. */
QString uniqueName(char const* suffix = "");

#endif
