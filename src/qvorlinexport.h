#ifndef QVORLINEXPORT_H
#define QVORLINEXPORT_H

/** Marks what programs may link to; everything else in the library stays hidden. */
#define QVORLIN_EXPORT __attribute__((visibility("default")))

#endif
