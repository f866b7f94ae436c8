#ifndef CONTEXTFAULTS_H
#define CONTEXTFAULTS_H

/** How OpenGL fares in this program, which sees the library's calls to Qt. */
struct ContextFaults
{
    /** Creations to come that fail. */
    int failingCreations = 0;
    /** Contexts can't run shader programs. */
    bool withoutShaderPrograms = false;

    int creations = 0;
    int swaps = 0;
};

ContextFaults& contextFaults();

#endif
