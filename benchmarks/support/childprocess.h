#ifndef SUPPORT_CHILDPROCESS_H
#define SUPPORT_CHILDPROCESS_H

#include <functional>
#include <vector>

#include <sys/types.h>

/** One end of a line between two processes. Every call waits at most 30 seconds. */
class Line
{
public:
    explicit Line(int fd);
    ~Line();
    Line(Line const&) = delete;
    Line& operator=(Line const&) = delete;

    /** @return false when the other side has gone, or says nothing for too long */
    bool send(const std::vector<double>& values);
    bool receive(std::vector<double>& values);

    /** A message without values. */
    bool signal() { return send({}); }
    bool wait();

    /** Whether the other side is still there; doesn't wait. */
    bool isOpen() const;
    /** Tells the other side, which then finds the line closed. */
    void hangUp();

private:
    int mFd;
};

/**
 * A process that runs one function of this program. The function has to return when its line is
 * closed, which is how the process ends with the object; one that doesn't is killed. An interrupt
 * from the terminal ends the parent alone, so that the processes can tidy up.
 */
class ChildProcess
{
public:
    /** Starts @p body with its end of the line. This process must have no other thread. */
    explicit ChildProcess(const std::function<void(Line&)>& body);
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    pid_t pid() const { return mPid; }
    Line& line() { return mLine; }

private:
    ChildProcess(const std::function<void(Line&)>& body, const std::vector<int>& pair);

    pid_t mPid;
    Line mLine;
};

#endif
