#ifndef PROCESSRUN_H
#define PROCESSRUN_H

#include <QStringList>

class QProcess;

/**
 * Runs @p program in @p process and waits until it has ended, 30 s to start and 30 s to end at
 * most. What became of it is for the caller to ask; that it ends at all, the destruction of
 * @p process sees to.
 */
void runProcess(QProcess& process, QString const& program, QStringList const& arguments);

#endif
