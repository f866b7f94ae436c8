#ifndef DYINGWORDS_H
#define DYINGWORDS_H

#include <functional>

#include <QByteArray>

/**
 * Runs @p body in a copy of this process that is meant to abort.
 * @return what the copy wrote to standard error, empty when it did not abort
 */
QByteArray dyingWords(std::function<void()> const& body);

#endif
