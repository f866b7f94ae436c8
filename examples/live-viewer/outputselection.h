#ifndef OUTPUTSELECTION_H
#define OUTPUTSELECTION_H

struct Options;

/**
 * Has EGLFS light the output that @p options name, if any. To be called before there is an
 * application object.
 * @return whether that is possible; if not, why is told on the standard error
 */
bool selectOutput(Options const& options);

#endif
