/** Handles of the stream library that close themselves; without Qt, for the helper program too. */
#ifndef SHMHANDLES_H
#define SHMHANDLES_H

#include "shm_reader.h"
#include "shm_writer.h"

#include <cstdio>
#include <memory>

namespace shmtest {

struct Close
{
    void operator()(shm_writer_t* writer) const { shm_writer_close(writer); }
    void operator()(shm_reader_t* reader) const { shm_reader_close(reader); }
};
using Writer = std::unique_ptr<shm_writer_t, Close>;
using Reader = std::unique_ptr<shm_reader_t, Close>;

/** Null when it fails; the reason then stands on the standard error output. */
inline Writer openWriter(shm_writer_config_t const& config)
{
    char error[256] = "";
    Writer writer(shm_writer_open(&config, error, sizeof error));
    if (!writer)
        std::fprintf(stderr, "%s\n", error);
    return writer;
}

} // namespace shmtest

#endif
