#ifndef PROGRAMEND_H
#define PROGRAMEND_H

#include <QByteArray>

class QProcess;

/** How a program ended. */
struct Ended
{
    int code = -1; /**< -1: it crashed or did not end */
    QByteArray output;
    QByteArray errors;
};

/** Waits for @p process to end, up to half a minute. */
Ended endOf(QProcess& process);

#endif
