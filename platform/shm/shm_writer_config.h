#ifndef SHM_WRITER_CONFIG_H
#define SHM_WRITER_CONFIG_H

#include "shm_published_files.h"
#include "shm_writer.h"

namespace shm {

// Both throw OpenError, its text being what is wrong.

/** What the media file is to say, complete, with a new instance number. */
MediaConfig toMediaConfig(shm_writer_config_t const& config);

Access toAccess(shm_writer_config_t const& config);

} // namespace shm

#endif
