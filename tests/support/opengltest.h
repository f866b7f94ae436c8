#ifndef OPENGLTEST_H
#define OPENGLTEST_H

#include <QApplication>

#include "messagecheck.h"

/** Whether this run is one in OpenGL ES contexts: QVORLIN_TEST_OPENGL is "es", not "desktop". */
bool isOpenGLESRun();

/** Makes every context and window to come one of this run's API; before the application exists. */
void selectOpenGL();

/** The main function of a test program that draws with OpenGL. */
#define QVORLIN_OPENGL_TEST_MAIN(TestClass)                                                        \
    int main(int argc, char* argv[])                                                               \
    {                                                                                              \
        selectOpenGL();                                                                            \
        QApplication app(argc, argv);                                                              \
        TestClass test;                                                                            \
        return runCheckingMessages(&test, argc, argv);                                             \
    }

#endif
