#ifndef SYSTEMCALLS_H
#define SYSTEMCALLS_H

#include <csignal>
#include <functional>

#include <QVector>

/**
 * Looks at the calls that set up and deliver Unix signals: the functions here take the place of
 * the C library's, which they call.
 */
namespace systemcalls {

struct SocketPair
{
    int domain;
    int type;
    int protocol;
    int ends[2];
};

struct Action
{
    int signal;
    struct sigaction action;
    bool asksForOld;
};

/** What was called since start(), each in its order. */
extern QVector<SocketPair> socketPairs;
extern QVector<Action> actions;

/** Called from within the next socketpair(), sigaction() and read() from a watched end. */
extern std::function<void()> onSocketPair;
extern std::function<void()> onAction;
extern std::function<void()> onRead;

/** Lets socketpair() fail. */
extern bool socketPairFails;

/** Forgets all that was seen. */
void start();

/** Writes into the last pair of sockets since start(): how many, and of how many bytes the last. */
int writeCount();
size_t lastWriteLength();

} // namespace systemcalls

#endif
