#ifndef SYSINFOPROCESS_H
#define SYSINFOPROCESS_H

#include <QProcess>
#include <QTemporaryDir>

#include "programend.h"

/**
 * The place of the store for this program and those that it starts. Paths are those from the
 * current folder, which it sets: the store opens all folders on its path to everybody, and the
 * temporary files' common one must not be among them.
 */
class StorePlace
{
public:
    StorePlace();
    ~StorePlace();
    Q_DISABLE_COPY(StorePlace)

    /** Makes it a place without a store, and without the folder that is to hold it. */
    void clear();

    QString root() const { return above() + QStringLiteral("/store"); }
    QString above() const { return QStringLiteral("var"); }
    QString path(char const* key) const { return root() + QLatin1Char('/') + QLatin1String(key); }

private:
    QTemporaryDir mDir;
};

QString sysinfoProgram();

/** Runs the program to its end, on @p input. */
Ended runSysinfo(QStringList const& arguments, QByteArray const& input = {});

/** Runs a program as a user without rights, which only root can do. */
Ended runAsNobody(QStringList const& command);

/** Runs lines of bash, in which the program is found by its name. */
Ended runScript(QByteArray const& lines);

/** "sysinfo watch" at work. */
class WatchProcess
{
public:
    explicit WatchProcess(QStringList const& arguments);
    ~WatchProcess();

    /** Its next line, without the newline; null when none comes. */
    QByteArray nextLine();

    /** How many lines come up to @p line and with it; 0: it does not come. */
    int linesUntil(QByteArray const& line);

    /** Whether it has come to wait for a lock on a value. */
    bool waitsForLock() const;

    /** Ends it by a signal. @return how; signals before its first line come too early */
    Ended stop(int signal);

    QProcess& process() { return mProcess; }

private:
    QProcess mProcess;
};

#endif
