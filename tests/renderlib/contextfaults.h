#ifndef CONTEXTFAULTS_H
#define CONTEXTFAULTS_H

#include <QPointer>

/** How OpenGL fares in this program, which sees the library's calls to Qt. */
struct ContextFaults
{
    /** Creations to come that fail. */
    int failingCreations = 0;
    /** Contexts can't run shader programs. */
    bool withoutShaderPrograms = false;

    int creations = 0;
    /** The parent that the last context had when it was to be created. */
    QPointer<QObject> creationParent;
    /** Buffers that were to be swapped; they aren't. */
    int swaps = 0;
};

ContextFaults& contextFaults();

#endif
