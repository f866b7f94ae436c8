#ifndef FAILURE_H
#define FAILURE_H

#include <stdexcept>

/** What ends the program with status 1: the text of its line on standard error. */
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/** What is wrong with the command line and ends the program with status 2. */
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/** Nobody reads standard output any more. */
class ReaderGone : public Failure
{
public:
    using Failure::Failure;
};

#endif
