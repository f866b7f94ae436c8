#ifndef SHM_OPEN_ERROR_H
#define SHM_OPEN_ERROR_H

#include <stdexcept>
#include <string>
#include <system_error>

namespace shm {

/** Why a stream can't be published; never leaves shm_writer_open(). */
class OpenError : public std::runtime_error
{
public:
    OpenError(int code, std::string const& what)
        : std::runtime_error(what)
        , mCode(code)
    {}

    /** The errno value. */
    int code() const { return mCode; }

private:
    int mCode;
};

[[noreturn]] inline void refuse(int code, std::string const& what)
{
    throw OpenError(code, what);
}

/** For a failed system call. */
[[noreturn]] inline void refuseCall(int code, std::string const& what)
{
    throw OpenError(code, what + ": " + std::generic_category().message(code));
}

} // namespace shm

#endif
