#ifndef PROGRAM_H
#define PROGRAM_H

#include <functional>

#include <QImage>
#include <QJsonObject>

#include "commandline.h"
#include "runoptions.h"

/**
 * The main function of a program with windows: reads the command line and, unless that asks for a
 * text or is wrong, opens the log and calls @p run, with a QVorlinApplication in place.
 *
 * @p prepare is called sooner, as soon as the options are known, for what has to be done before
 * there is an application object. It tells on the standard error why it fails.
 * @return the exit status: that of @p run, 1 when @p prepare failed, or 2 for a wrong command line
 */
int runProgram(CommandLineSyntax const& syntax, int argc, char** argv,
    std::function<int()> const& run, std::function<bool()> const& prepare = {});

/**
 * Runs the event loop until the windows are closed, a signal asks for the end, or
 * @p options.seconds have passed. @return how long that was, in seconds
 */
double runEventLoop(RunOptions const& options);

/**
 * Writes the picture and the report that @p options ask for; what fails is told on the standard
 * error. @return the exit status
 */
int writeOutputs(char const* program, RunOptions const& options, QImage const& picture,
    QJsonObject const& report);

#endif
