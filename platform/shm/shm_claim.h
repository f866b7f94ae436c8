#ifndef SHM_CLAIM_H
#define SHM_CLAIM_H

#include "shm_names.h"

namespace shm {

/**
 * Takes the name of a stream for a writer and removes what a dead writer of that name left. The
 * name is taken for as long as the returned file is open.
 * @return invalid with errno set on failure; EBUSY: a live writer has the name.
 */
UniqueFd claimName(int place, StreamFiles const& files);

/** Gives up a claimed name; the files of the stream are gone before the next writer can take it. */
void giveUpName(int place, StreamFiles const& files, int lock);

/** Removes the files of a stream whose writer is dead, as far as this process is permitted to. */
void removeDeadStream(int place, StreamFiles const& files);

/** Does so for every stream in the place. */
void removeDeadStreams(int place);

} // namespace shm

#endif
