#ifndef KMSGUEST_H
#define KMSGUEST_H

#include <QProcess>
#include <QStringList>

/** Has the virtual machine do something with its outputs; kmsvm-guest says what it can. */
inline bool operateOutputs(QStringList const& arguments)
{
    return QProcess::execute(QStringLiteral("kmsvm-guest"), arguments) == 0;
}

#endif
