#ifndef FAILURE_H
#define FAILURE_H

#include <stdexcept>

/** What ends the program with one line on standard error: the text of that line. */
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

#endif
