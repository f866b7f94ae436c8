#ifndef BAREFILE_H
#define BAREFILE_H

#include <string>

/** The system calls alone that reading and writing a value of the store takes. */
namespace barefile {

enum class Unlock
{
    ByClosing,
    Explicitly
};

/** open, flock, fstat, read, close. @return what free() takes; null on failure */
char* read(const char* path, Unlock unlock);

/**
 * For each of the directories mkdir and chmod, then open, flock, ftruncate, fchmod, write, flock,
 * close. @param directories the two on the way to the file, outer one first
 */
bool write(const char* const (&directories)[2], const char* path, const std::string& value);

} // namespace barefile

#endif
