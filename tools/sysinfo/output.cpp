#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "failure.h"

void put(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return;
    std::string const reason = std::string("can't write: ") + std::strerror(errno);
    if (errno == EPIPE)
        throw ReaderGone(reason);
    throw Failure(reason);
}

void complain(std::string_view what)
{
    std::fprintf(stderr, "sysinfo: %.*s\n", static_cast<int>(what.size()), what.data());
}
