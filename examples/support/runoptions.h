#ifndef RUNOPTIONS_H
#define RUNOPTIONS_H

#include <QString>

#include "commandline.h"

/** What can be asked of every program that shows streams. */
struct RunOptions
{
    double seconds = 0; /**< how long to run; 0: until it is closed */
    QString screenshot; /**< file for the last picture of the window; empty: none */
    QString report;     /**< file for the figures; empty: none */
    int rateNum = 60;   /**< display rate, frames a second */
    int rateDen = 1;
};

/** The options that set @p options, which must outlive them. */
QVector<CommandLineOption> runOptions(RunOptions& options);

#endif
