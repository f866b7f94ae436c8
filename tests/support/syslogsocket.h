#ifndef SYSLOGSOCKET_H
#define SYSLOGSOCKET_H

#include <QByteArray>
#include <QList>
#include <QString>

/**
 * A system log for a test: the real socket that the C library writes to, read by the test. Needs
 * the right to make it and a machine on which no system log runs.
 */
class SyslogSocket
{
public:
    SyslogSocket();
    ~SyslogSocket();
    SyslogSocket(SyslogSocket const&) = delete;
    SyslogSocket& operator=(SyslogSocket const&) = delete;

    /** Why there is no socket; empty when there is one. */
    QString problem() const { return mProblem; }

    /** Waits up to @p timeoutMs for one line; empty when none came. */
    QByteArray readLine(int timeoutMs = 2000);

private:
    int mSocket = -1;
    QString mProblem;
};

#endif
